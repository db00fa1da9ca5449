"""pytest in a world with a simulated chip and the daemon.

    def test_a_low_battery_is_told(quon_chip):
        quon_chip.set("battery", 5)
        ...

Without such a world around it, pytest starts itself anew inside `hi3861l-sim run`: no daemon of the
machine is touched, and several may run side by side. Each test finds the chip as the options made it.
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


def pytest_addoption(parser: pytest.Parser) -> None:
    """Options and settings of the world."""
    group = parser.getgroup("quon_mcu")
    group.addoption("--quon-sim", default="hi3861l-sim", help="the simulator to run in")
    group.addoption("--quon-no-world", action="store_true", help="stay in this machine's own world")
    parser.addini("quon_chip_options", "options of 'hi3861l-sim run'", default="")


def pytest_cmdline_main(config: pytest.Config) -> int | None:
    """Restarts inside a world, unless this is one or nothing is run."""
    if config.getoption("quon_no_world") or config.option.collectonly or config.option.help:
        return None
    if os.environ.get(_MARK) == "1" or is_inside():
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


@pytest.fixture(scope="session")
def _quon_world() -> Iterator[Chip]:
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
