"""The simulated chip's own layouts, from their file, read back by every program that knows them.

Runs in a world of its own, whose chip and daemon were started with that file.
"""

import json
import os
import subprocess
import unittest

import quon_mcu

CLIENT = os.environ["QUON_FULL_CLIENT"]
SIMULATOR = os.environ["QUON_SIMULATOR"]
FILE = os.environ["QUON_SIMULATOR_RECORDS"]

ASKED = {
    "battery_status": "battery.status",
    "pir_info": "pir.info",
    "wifi_status": "wifi.status",
    "status_info": "status.info",
    "config_info": "config.info",
    "wifi_extended_status": "wifi.extended.status",
    "wakeup_context": "allwakeup.info",
}
# A list, and a request.
NOT_ONE_ANSWER = ("err_report", "wifi_connect")


def run(*words):
    done = subprocess.run(words, capture_output=True, timeout=60, check=False)
    if done.returncode != 0:
        raise AssertionError(f"{words} gave {done.returncode}: {done.stderr!r}")
    return done.stdout.decode()


def client(*words):
    return run(CLIENT, "--records", FILE, *words)


def control(*words):
    return run(SIMULATOR, "control", *words)


class TheSimulatorsRecords(unittest.TestCase):
    maxDiff = None

    def test_are_shown_alike_by_the_client_and_by_python(self):
        for name, definition in quon_mcu.read_definitions(FILE).items():
            if name in NOT_ONE_ANSWER:
                continue
            words = [ASKED[name]] if name in ASKED else ["wifi.scanf.info", "1"]
            answer = json.loads(client("--json", "get", *words))
            expected = definition.decode(bytes.fromhex(answer["hex"]))
            for field, value in expected.items():
                shown = answer["fields"][field]
                as_text = value.hex() if isinstance(value, bytes) else value
                with self.subTest(name, field=field):
                    if shown is None:  # a zero that may not have been sent
                        self.assertEqual(str(as_text).strip("0:."), "")
                    else:
                        self.assertEqual(shown, as_text)

    def test_hold_what_the_options_said(self):
        self.assertEqual(client("get", "battery.status", "charge", "voltage"), "42\n3678\n")
        self.assertEqual(client("get", "wifi.status", "ssid", "rssi"), "camera-7\n-56\n")
        snapshot = client("get", "allwakeup.info", "battery_charge", "wifi_ssid")
        self.assertEqual(snapshot, "42\ncamera-7\n")
        self.assertEqual(client("get", "wifi.scanf.info", "1", "ssid_2", "mac_2")[:9], "neighbour")

    def test_name_the_parts_of_an_error(self):
        client("send", "set.crash.test")
        answer = json.loads(client("--json", "get", "err.report"))
        entry = bytes.fromhex(answer["hex"])[1:37]
        expected = quon_mcu.read_definitions(FILE)["err_report"].decode(entry)
        self.assertEqual((expected["kind"], expected["number"]), (1, 1))
        self.assertTrue(1 <= expected["month"] <= 12 and expected["second"] < 60, expected)
        shown = answer["fields"]["entries"][0]
        for field in ("kind", "year", "month", "day", "hour", "minute", "second", "number"):
            self.assertEqual(shown[field], expected[field])
        self.assertRegex(client("get", "err.report"), r"entry\[0\]\.kind +1 \(set\.crash\.test\)\n")

    def test_take_the_name_of_a_network(self):
        client("set", "wifi.connect", "ssid=attic")
        self.assertEqual(control("get", "wifi-ssid"), "attic\n")
        self.assertEqual(client("get", "wifi.status", "ssid"), "attic\n")

    def test_name_the_values_of_the_chips_state(self):
        self.assertEqual(control("get", "battery-status.charge"), "42\n")
        control("set", "pir-info.sensitivity", "7")
        self.assertEqual(client("get", "pir.info", "sensitivity"), "7\n")
        control("set", "wifi-status.ssid", "camera-7")
        self.assertEqual(control("get", "wifi-ssid"), "camera-7\n")

    def test_stand_in_the_journal(self):
        client("get", "battery.status")
        self.assertIn(" charge=42 voltage=3678 ", control("frames"))


if __name__ == "__main__":
    unittest.main()
