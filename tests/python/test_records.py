"""Records out of answers and requests out of records, byte for byte."""

import pathlib
import re
import unittest

import quon_mcu
from fake_daemon import FakeDaemon, replying

TABLE = pathlib.Path(__file__).parent.parent / "support" / "expected_table.h"


def expected_services():
    """The rows that the tests in C++ have, too: kind, name, bytes of the request, bytes of the reply
    (None: any)."""
    row = re.compile(
        r'\{\d+, +"(method|signal)\.quon\.mcu\.([a-z.]+)", +"\w+", +\w+, +\w+, +(\w+), +(\w+), '
        r"+Reply::\w+, +(\w+), "
    )
    for kind, name, passed, request, reply in row.findall(TABLE.read_text(encoding="ascii")):
        if request == "kAnySize":  # an empty command's text is its end alone
            request = 1 if passed == "kText" else 0
        yield kind, name, int(request), None if reply == "kAnySize" else int(reply)


def method_of(name):
    return name.replace(".", "_")


METHODS = [
    (method_of(name), name, request, reply)
    for kind, name, request, reply in expected_services()
    if kind == "method"
]
SIGNALS = [
    (method_of(name), name, request)
    for kind, name, request, _ in expected_services()
    if kind == "signal"
]


def request_of(name):
    """A cleared request of the service with that method, as arguments."""
    service = next(s for s in quon_mcu.SERVICES if s.name[7:].endswith("quon.mcu." + name))
    return [] if service.request is None else [service.request()]


class EachService(unittest.TestCase):
    def test_is_in_the_tables_once(self):
        self.assertGreaterEqual(len(SIGNALS), 25)
        self.assertGreaterEqual(len(METHODS), 28)
        self.assertEqual(
            [service.name for service in quon_mcu.SERVICES],
            [f"{kind}.quon.mcu.{name}" for kind, name, _, _ in expected_services()],
        )

    def test_that_is_a_method_is_called_by_its_name_with_its_bytes(self):
        for method, name, request, reply in METHODS:
            with self.subTest(name), FakeDaemon(replying(bytes(reply or 0))) as daemon:
                with quon_mcu.Client() as client:
                    if method in ("get_system", "get_popen"):
                        getattr(client, method)(quon_mcu.ShellCommand())
                    else:
                        getattr(client, method)(*request_of(name))
                self.assertEqual(
                    daemon.request(), ("method.quon.mcu." + name, 1, bytes(request))
                )

    def test_that_is_a_method_takes_no_answer_of_another_size(self):
        for method, name, _, reply in METHODS:
            for wrong in () if reply is None else (reply - 1, reply + 1):
                with self.subTest(name), FakeDaemon(replying(bytes(wrong))):
                    with quon_mcu.Client() as client, self.assertRaises(quon_mcu.Malformed):
                        getattr(client, method)(*request_of(name))

    def test_that_is_a_signal_is_sent_by_its_name_with_its_bytes(self):
        with FakeDaemon() as daemon, quon_mcu.Client() as client:
            for number, (method, name, size) in enumerate(SIGNALS):
                with self.subTest(name):
                    getattr(client, method)(*request_of(name))
                    self.assertEqual(
                        daemon.request(number), ("signal.quon.mcu." + name, 0, bytes(size))
                    )


def answered(method, data):
    """What a method makes of an answer."""
    with FakeDaemon(replying(data)), quon_mcu.Client() as client:
        return getattr(client, method)()


def sent(method, request):
    """The bytes that a signal carries."""
    with FakeDaemon() as daemon, quon_mcu.Client() as client:
        getattr(client, method)(request)
        return daemon.request()[2]


class AnAnswer(unittest.TestCase):
    def test_of_the_clock_gives_its_fields_and_the_bytes_that_nobody_interprets(self):
        time = answered("get_time", bytes.fromhex("1a ff 03 04 05 06 a1 a2 a3 a4"))
        self.assertEqual(
            time, quon_mcu.Time(26, -1, 3, 4, 5, 6, bytes.fromhex("a1 a2 a3 a4"))
        )

    def test_has_none_for_what_the_chip_may_not_have_sent(self):
        time = answered("get_time", bytes.fromhex("1a 00 03 00 00 00 00 00 00 00"))
        self.assertEqual(time, quon_mcu.Time(26, 0, 3, None, None, None, bytes(4)))
        self.assertIsNone(answered("get_battery_status", bytes(5)).bytes)
        self.assertEqual(answered("get_battery_status", b"\0\0\1\0\0").bytes, b"\0\0\1\0\0")

    def test_of_the_wake_up_has_addresses_as_text_and_little_endian_numbers(self):
        data = b"\x0d" + bytes(53) + bytes.fromhex("02005e10abff 78563412 01000080 000000")
        info = answered("get_wakeup_info", data)
        self.assertEqual(info.reason, 13)
        self.assertEqual(info.mac, "02:00:5e:10:ab:ff")
        self.assertEqual((info.socup_time1, info.socup_time2), (0x12345678, 0x80000001))

    def test_of_the_snapshot_judges_each_of_its_answers_by_itself(self):
        data = b"\3" + bytes(70) + b"\x1a\2" + bytes(8) + bytes(75 + 160 + 38)
        data += bytes.fromhex("0a000001 5000") + bytes(4) + b"V1" + bytes(30) + b"\5\0\0\0"
        context = answered("get_allwakeup_info", data)
        self.assertEqual((context.wakeup_reason, context.wakeup_mac), (3, None))
        self.assertEqual((context.time_month, context.time_day), (2, None))
        self.assertEqual((context.battery_status, context.wifi_ip), (None, None))
        self.assertEqual((context.server_ip, context.server_port), ("10.0.0.1", 80))
        self.assertEqual((context.version, context.start_ms), ("V1", 5))

    def test_of_the_network_has_none_for_addresses_of_zeros(self):
        texts = [b"00:00:00:00:00:00", b"192.168.1.7", b"0.0.0.0", b"8.8.8.8", b""]
        info = answered("get_wifi_info", b"".join(text.ljust(32, b"\0") for text in texts))
        self.assertEqual(info, quon_mcu.WifiInfo(None, "192.168.1.7", None, "8.8.8.8", None))

    def test_of_the_version_is_a_text_of_its_own_length(self):
        self.assertEqual(answered("get_ver", b"V2.1").version, "V2.1")
        self.assertIsNone(answered("get_ver", b"").version)
        self.assertEqual(answered("get_ver", b"v" * 384).version, "v" * 384)
        with self.assertRaises(quon_mcu.Malformed):
            answered("get_ver", b"v" * 385)

    def test_of_the_watchdog_is_a_digit_that_may_be_missing(self):
        self.assertEqual(answered("get_wdg_state", b"1").state, "1")
        self.assertIsNone(answered("get_wdg_state", b"0").state)

    def test_that_is_a_list_has_its_entries(self):
        report = answered("get_err_report", b"\2" + b"\xaa" * 36 + b"\xbb" * 36 + bytes(108))
        self.assertEqual(report.entries, [b"\xaa" * 36, b"\xbb" * 36])
        with self.assertRaises(quon_mcu.Malformed):
            answered("get_err_report", b"\6" + bytes(180))

    def test_whose_zeros_are_facts_has_no_none(self):
        self.assertEqual(answered("get_event_info", bytes(33)).bytes, bytes(33))


class ARequest(unittest.TestCase):
    def test_is_little_endian_and_signed_where_the_field_is(self):
        time = quon_mcu.Time(26, -1, 0, 0, 0, 59, bytes.fromhex("000000a4"))
        self.assertEqual(sent("set_time", time), bytes.fromhex("1aff0000003b000000a4"))
        self.assertEqual(
            sent("set_alarm", quon_mcu.Alarm(0x0A0B0C0D, 1, 2, 3)), bytes.fromhex("0d0c0b0a010203")
        )

    def test_has_addresses_from_text_and_zeros_for_none(self):
        store = quon_mcu.StoreParams(server_ip="192.168.1.2", server_port=8080)
        self.assertEqual(
            sent("set_store_params", store), bytes(38) + bytes.fromhex("c0a80102901f") + bytes(4)
        )
        store.server_ip = None
        self.assertEqual(sent("set_store_params", store)[38:44], bytes.fromhex("00000000901f"))
        info = quon_mcu.WakeupInfo(mac="02:00:5E:10:aB:fF")
        self.assertEqual(sent("set_wakeup_info", info)[54:60].hex(), "02005e10abff")

    def test_that_cannot_be_sent_is_a_value_error(self):
        wrong = [
            ("set_led", quon_mcu.Value(256)),
            ("set_led", quon_mcu.Value(-1)),
            ("set_time", quon_mcu.Time(year=128)),
            ("set_time", quon_mcu.Time(rest_6=b"")),
            ("set_store_params", quon_mcu.StoreParams(server_ip="1.2.3")),
            ("set_wakeup_info", quon_mcu.WakeupInfo(mac="02:00")),
            ("set_cmd", quon_mcu.RawCommand(bytes(385))),
        ]
        with FakeDaemon() as daemon, quon_mcu.Client() as client:
            for method, request in wrong:
                with self.subTest(request), self.assertRaises(ValueError):
                    getattr(client, method)(request)
            self.assertEqual(daemon.requests, [])


if __name__ == "__main__":
    unittest.main()
