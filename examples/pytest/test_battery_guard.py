"""Its tests, each with a chip of its own making."""

import threading

import battery_guard
import quon_mcu
from quon_mcu.testing import Chip, HandoffServer


def test_records_with_enough_charge(quon_chip: Chip) -> None:
    quon_chip.set("battery", 11)
    assert battery_guard.may_record(quon_chip.client)
    quon_chip.set("battery", 10)
    assert not battery_guard.may_record(quon_chip.client)


def test_does_not_record_when_the_chip_is_silent(quon_chip: Chip) -> None:
    quon_chip.fault("get_battery_status drop count 1")
    assert not battery_guard.may_record(quon_chip.client)
    assert battery_guard.may_record(quon_chip.client)


def test_finds_the_chip_as_it_was(quon_chip: Chip) -> None:
    assert quon_chip.get("battery") == "80"
    assert quon_chip.frames() == []


def test_sees_events_in_their_order(quon_chip: Chip) -> None:
    quon_chip.event(1, b"\x0b")
    quon_chip.event(2, b"\x0c")
    got = [quon_chip.client.next_event(10.0).bytes for _ in range(2)]
    assert [each and each[0] for each in got] == [0x0B, 0x0C]


def test_sends_what_is_set(quon_chip: Chip) -> None:
    quon_chip.client.set_led(quon_mcu.Value(2))
    quon_chip.wait_frame("set_led")
    assert quon_chip.get("led") == "2"


def test_answers_the_server(quon_chip: Chip, quon_server: HandoffServer) -> None:
    words = (quon_server.ip, quon_server.port)
    camera = threading.Thread(target=battery_guard.answer_server, args=words)
    camera.start()
    with quon_server.accept() as connection:
        connection.sendall(b"who is there?")
        assert connection.recv(100) == b"awake\n"
    camera.join()
