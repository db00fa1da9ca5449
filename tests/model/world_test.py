"""What the model takes for the daemon's log lines."""

import os
import threading
import unittest

from world import Log

LINE = b"E/QUON_MCU_DAEMON [12:00:00] (quon_mcu_set_log_profile:3) func is null\n"
TAKEN = ("QUON_MCU_DAEMON", "quon_mcu_set_log_profile", "func is null")
HAND_OFF = b"ws init ip: 0-0\n"


class ALog(unittest.TestCase):
    def setUp(self):
        reader, self.writer = os.pipe()
        self.pipe = os.fdopen(reader, "rb", buffering=0)
        self.log = Log(self.pipe)

    def tearDown(self):
        os.close(self.writer)
        self.pipe.close()

    def test_does_not_count_the_hand_offs_line_for_the_one_that_it_waits_for(self):
        os.write(self.writer, HAND_OFF)
        later = threading.Timer(0.2, os.write, [self.writer, LINE])
        later.start()
        self.assertEqual(self.log.take(1), [TAKEN])
        later.join()

    def test_keeps_the_beginning_of_a_line_until_its_end_has_come(self):
        os.write(self.writer, LINE + LINE[:20])
        self.assertEqual(self.log.take(1), [TAKEN])
        os.write(self.writer, LINE[20:])
        self.assertEqual(self.log.take(1), [TAKEN])

    def test_hands_out_all_that_is_there_when_none_is_waited_for(self):
        os.write(self.writer, LINE + HAND_OFF + b"something else\n")
        self.assertEqual(self.log.take(0), [TAKEN, ("", "", "something else")])


if __name__ == "__main__":
    unittest.main()
