"""Both clients where no daemon is: each command ends with the same status."""

import os
import subprocess
import unittest

CLIENTS = [os.environ["QUON_FULL_CLIENT"], os.environ["QUON_SMALL_CLIENT"]]
UNREACHABLE = 3


class WithoutADaemon(unittest.TestCase):
    def test_each_command_says_that_nobody_answers(self):
        for words in (
            ["get", "ver"], ["set", "led", "1"], ["call", "get.ver"], ["events"],
            ["events", "--count", "1", "--timeout", "100ms"], ["wakeup"], ["exec", "true"],
            ["popen", "true"],
        ):
            for client in CLIENTS:
                with self.subTest(words, client=os.path.basename(client)):
                    done = subprocess.run(
                        [client, *words], capture_output=True, timeout=60, check=False
                    )
                    self.assertEqual((done.returncode, done.stdout), (UNREACHABLE, b""))
                    self.assertNotEqual(done.stderr, b"")


if __name__ == "__main__":
    unittest.main()
