"""pytest in a world with a simulated chip and the daemon.

    def test_a_low_battery_is_told(quon_chip):
        quon_chip.set("battery", 5)
        ...

With `quon_world = yes` in its settings a project's pytest starts itself anew inside `hi3861l-sim
run`: no daemon of the machine is touched, and several may run side by side. Each test finds the chip
as the options made it. Other projects of the same Python notice nothing.
"""

from __future__ import annotations

import os
import shlex
import shutil
import sys
from collections.abc import Iterator

import pytest

from .testing import Chip, HandoffServer, is_inside

_MARK = "QUON_MCU_PYTEST_WORLD"
_NO_CHIP = (
    "no simulated chip here: set 'quon_world = yes' in pytest's settings of this project,"
    " or start pytest by 'hi3861l-sim run -- pytest'"
)
# With one of these pytest only tells something, and runs no test.
_TELLING = (
    "version",
    "help",
    "collectonly",
    "markers",
    "showfixtures",
    "show_fixtures_per_test",
    "setupplan",
    "cacheshow",
)


def pytest_addoption(parser: pytest.Parser) -> None:
    """Options and settings of the world."""
    group = parser.getgroup("quon_mcu")
    group.addoption("--quon-sim", default="hi3861l-sim", help="the simulator to run in")
    group.addoption("--quon-no-world", action="store_true", help="stay in this machine's own world")
    parser.addini("quon_world", "run inside 'hi3861l-sim run'", type="bool", default=False)
    parser.addini("quon_chip_options", "options of 'hi3861l-sim run'", default="")


def pytest_cmdline_main(config: pytest.Config) -> int | None:
    """Restarts inside a world where the project asks for it, unless this is one."""
    if not _needs_world(config):
        return None
    simulator = shutil.which(config.getoption("quon_sim"))
    if simulator is None:
        raise pytest.UsageError(f"no {config.getoption('quon_sim')}: install it, or give --quon-sim")
    os.environ[_MARK] = "1"
    own_options = shlex.split(config.getini("quon_chip_options"))
    package = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    command = [simulator, "run", "--keep", package, "--keep", sys.prefix, *own_options, "--"]
    command += [sys.executable, "-m", "pytest", *config.invocation_params.args]
    sys.stdout.flush()
    os.execv(simulator, command)


def _needs_world(config: pytest.Config) -> bool:
    if not config.getini("quon_world") or config.getoption("quon_no_world"):
        return False
    if any(getattr(config.option, each, None) for each in _TELLING):
        return False
    return os.environ.get(_MARK) != "1" and not is_inside()


@pytest.fixture(scope="session")
def _quon_world() -> Iterator[Chip]:
    if not is_inside():
        pytest.fail(_NO_CHIP, pytrace=False)
    chip = Chip()
    yield chip
    chip.close()


@pytest.fixture
def quon_chip(_quon_world: Chip) -> Iterator[Chip]:
    """The simulated chip, reset after the test."""
    yield _quon_world
    _quon_world.reset()


@pytest.fixture
def quon_server() -> Iterator[HandoffServer]:
    """A server for the hand-off: `quon_mcu.take_socket(server.ip, server.port)`."""
    with HandoffServer() as server:
        yield server
