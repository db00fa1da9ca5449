"""Records that the camera's maker defines in a file."""

import os
import tempfile
import unittest
from unittest import mock

import quon_mcu
from quon_mcu import Definition, DefinitionError, parse_definitions, read_definitions

SIMULATOR = os.environ["QUON_SIMULATOR_RECORDS"]
EXAMPLE = os.environ["QUON_EXAMPLE_RECORDS"]

BATTERY = """{
  // "charge": not this one
  "battery_status": {
    "size": 5, /* of the
                  built-in table */
    "fields": [
      {"name": "charge", "offset": 0, "kind": "u8", "unit": "%"},
      {"name": "voltage", "offset": 1, "kind": "u16"},
      {"name": "state", "offset": 3, "kind": "s8", "values": {"0": "idle", "-1": "// none"}}
    ]
  }
}"""


def one(text: str, name: str) -> Definition:
    return parse_definitions(text, "f.json")[name]


class Definitions(unittest.TestCase):
    maxDiff = None

    def test_name_the_bytes_of_a_record(self) -> None:
        battery = one(BATTERY, "battery_status")
        data = bytes.fromhex("2a3011ff09")
        self.assertEqual(battery.decode(data), {"charge": 42, "voltage": 4400, "state": -1})
        self.assertEqual(battery.field("charge").unit, "%")
        self.assertEqual(battery.meaning("state", -1), "// none")
        self.assertEqual(battery.meaning("state", 7), "")

    def test_refuse_a_record_of_another_size(self) -> None:
        with self.assertRaisesRegex(quon_mcu.Malformed, "battery_status: 4 bytes instead of 5"):
            one(BATTERY, "battery_status").decode(bytes(4))

    def test_make_requests_on_what_is_there(self) -> None:
        battery = one(BATTERY, "battery_status")
        self.assertEqual(battery.encode({"voltage": 258, "state": -1}).hex(), "000201ff00")
        base = bytes.fromhex("0102030405")
        self.assertEqual(battery.encode({"charge": 9}, base).hex(), "0902030405")
        with self.assertRaisesRegex(ValueError, "charge cannot be 256"):
            battery.encode({"charge": 256})
        with self.assertRaisesRegex(ValueError, "battery_status has no field 'charg'"):
            battery.encode({"charg": 1})

    def test_keep_the_fields_that_they_leave_room_for(self) -> None:
        text = '{"wakeup_info": {"fields": [{"name": "mac", "offset": 10, "kind": "mac"},'
        text += '{"name": "serial", "offset": 66, "kind": "u16"}]}}'
        names = [each.name for each in one(text, "wakeup_info").fields]
        self.assertEqual(names, ["reason", "mac", "socup_time1", "serial"])

    def test_of_a_list_are_those_of_an_entry(self) -> None:
        text = '{"err_report": {"size": 181, "fields": [{"name": "a", "offset": 34, "kind": "u16"}]}}'
        report = one(text, "err_report")
        self.assertEqual(report.size, 36)
        self.assertEqual(report.decode(bytes(34) + b"\x01\x02"), {"a": 513})

    def test_reach_to_the_end_without_a_size(self) -> None:
        text = '{"x": {"fields": [{"name": "a", "offset": 0, "kind": "u8"},'
        text += '{"name": "b", "offset": 1, "kind": "text"}]}}'
        self.assertEqual(one(text, "x").decode(b"\x01end"), {"a": 1, "b": "end"})
        text = '{"battery_status": {"fields": [{"name": "b", "offset": 2, "kind": "bytes"}]}}'
        self.assertEqual(one(text, "battery_status").decode(b"12345"), {"b": b"345"})

    def test_are_refused_with_the_line_and_the_reason(self) -> None:
        field = '{"battery_status":\n {"fields": [%s]}}'
        a = '{"name": "a", "offset": 0, "kind": "u16"}'
        value = field % '{"name": "v", "kind": "u8", "offset": 0, "values": {%s: "x"}}'
        mistakes = [
            ("", "f.json:1: Expecting value"),
            ('{\n"a" 1}', "f.json:2: Expecting ':' delimiter"),
            ("[]", "f.json:1: the file is no { } of records"),
            ('{"a": {},\n "a": {}}', "f.json:1: 'a' stands there twice"),
            ('{"Big": {}}', "f.json:1: 'Big' is no name of a record"),
            ('{\n"b": 5}', "f.json:2: 'b' is no { } of size, fields"),
            ('{\n\n"b": {"feilds": []}}', "f.json:3: unknown name 'feilds'"),
            ('{"time": {"fields": []}}', "f.json:1: time is the daemon's own and stays as it is"),
            ('{"battery_status": {"size": 6}}', "f.json:1: battery_status has 5 bytes, not 6"),
            ('{"b": {"size": true}}', "f.json:1: 'size' is no number from 0 to 4356"),
            ('{"b": {"fields": []}}', "f.json:1: b has no [ ] of fields"),
            (field % "7", "f.json:1: a field is no { } of name, offset, kind"),
            (field % '{"name": "rest_1"}', "f.json:1: 'rest_1' is no name of a field"),
            (field % '{"name": "a", "kind": "u9"}', "f.json:1: 'a': unknown kind 'u9'"),
            (field % '{"name": "a", "kind": "u8"}', "f.json:1: 'a' has no offset"),
            (
                field % '{"name": "a", "kind": "u16", "offset": 4}',
                "f.json:1: the field ends beyond the 5 bytes of its record",
            ),
            (
                field % '{"name": "a", "kind": "u16", "offset": 0, "size": 1}',
                "f.json:1: u16 has 2 bytes",
            ),
            (
                field % '{"name": "a", "kind": "u8", "offset": 0, "values": {"256": "x"}}',
                "f.json:1: '256' is no number from 0 to 255",
            ),
            (value % '" 1"', "f.json:1: ' 1' is no number from 0 to 255"),
            (value % '"1_0"', "f.json:1: '1_0' is no number from 0 to 255"),
            (value % '"+1"', "f.json:1: '+1' is no number from 0 to 255"),
            (value % '"\u0661"', "f.json:1: '\u0661' is no number from 0 to 255"),
            (value % '""', "f.json:1: '' is no number from 0 to 255"),
            (value % '"0x"', "f.json:1: '0x' is no number from 0 to 255"),
            (value % '"1": "y", "0x1"', "f.json:1: the value 1 stands twice"),
            (field % f"{a}, {a}", "f.json:1: a second field 'a'"),
            (
                field % (a + ', {"name": "b", "offset": 1, "kind": "u8"}'),
                "f.json:1: 'b' has bytes in common with 'a'",
            ),
        ]
        for text, reason in mistakes:
            with self.subTest(text), self.assertRaises(DefinitionError) as refused:
                parse_definitions(text, "f.json")
            self.assertEqual(str(refused.exception), reason)

    def test_are_found_in_the_usual_places(self) -> None:
        with tempfile.TemporaryDirectory() as home:
            os.mkdir(home + "/quon-mcu")
            for file, record in (("quon-mcu/records.json", "by_folder"), ("x.json", "by_variable")):
                with open(f"{home}/{file}", "w", encoding="utf-8") as out:
                    out.write(BATTERY.replace("battery_status", record))
            with mock.patch.dict(os.environ, {"XDG_CONFIG_HOME": home}):
                os.environ.pop("QUON_MCU_RECORDS", None)
                self.assertEqual(list(read_definitions()), ["by_folder"])
                self.assertEqual(list(read_definitions(home + "/x.json")), ["by_variable"])
                os.environ["QUON_MCU_RECORDS"] = home + "/x.json"
                self.assertEqual(list(read_definitions()), ["by_variable"])
                os.environ["QUON_MCU_RECORDS"] = ""
                self.assertEqual(read_definitions(), {})

    def test_of_the_simulator_and_of_the_example_can_be_read(self) -> None:
        battery = read_definitions(SIMULATOR)["battery_status"]
        self.assertEqual(battery.decode(b"\x2a\x5e\x0e\0\0"), {"charge": 42, "voltage": 3678})
        doorbell = read_definitions(EXAMPLE)["doorbell"]
        data = bytes.fromhex("02 020000000001 c0a80102").ljust(33, b"\0")
        self.assertEqual(
            doorbell.decode(data), {"rings": 2, "visitor": "02:00:00:00:00:01", "from": "192.168.1.2"}
        )


if __name__ == "__main__":
    unittest.main()
