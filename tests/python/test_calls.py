"""How calls end, plain and in a loop, and what takes more than one of them."""

import asyncio
import os
import socket
import threading
import time
import unittest

import quon_mcu
from fake_daemon import BUS_PATH, RECORD, FakeDaemon, failing, replying

LONG = 20.0


class APlainCall(unittest.TestCase):
    def test_writes_the_documented_record(self):
        with FakeDaemon(replying(b"V1")) as daemon, quon_mcu.Client("a.name") as client:
            self.assertEqual(client.call("method.quon.mcu.get.ver", b"\x0a\x0b"), b"V1")
        fields = RECORD.unpack(daemon.records[0])
        self.assertEqual(fields[0], 0x5AA55AA5)
        self.assertEqual(fields[2], b"a.name".ljust(64, b"\0"))
        self.assertEqual(fields[3], b"quon.mcu.daemon".ljust(64, b"\0"))
        self.assertEqual(fields[4:8], (1, b"method.quon.mcu.get.ver".ljust(64, b"\0"), 0, 2))
        self.assertEqual(fields[8], b"\x0a\x0b".ljust(4356, b"\0"))

    def test_tells_the_services_own_failure_with_its_result(self):
        with FakeDaemon(failing(-7)), quon_mcu.Client() as client:
            with self.assertRaises(quon_mcu.Failed) as raised:
                client.get_time()
        self.assertEqual(raised.exception.result, -7)
        self.assertEqual(
            str(raised.exception), "method.quon.mcu.get.time: the service failed, result -7"
        )

    def test_ends_by_its_time_out(self):
        with FakeDaemon(), quon_mcu.Client() as client:
            with self.assertRaisesRegex(quon_mcu.TimedOut, "^method.quon.mcu.get.time: no answer"):
                client.get_time(timeout=0.02)
            with self.assertRaises(quon_mcu.TimedOut):
                client.get_time(timeout=0)

    def test_refuses_a_negative_time_out_and_sends_nothing(self):
        with self.assertRaisesRegex(ValueError, "^a time-out is 0 or more, not -1$"):
            quon_mcu.Client(wait=-1)
        with FakeDaemon(replying(b"V1")) as daemon, quon_mcu.Client() as client:
            for refused in (
                lambda: client.get_ver(timeout=-0.001),
                lambda: client.get_ver(timeout=float("nan")),
                lambda: client.set_wdg_feed(timeout=-1),
                lambda: client.next_event(-1),
                lambda: next(client.events(-1)),
                lambda: client.upgrade(b"a", timeout=-1),
                lambda: quon_mcu.take_socket("192.168.1.2", 8080, -1),
            ):
                with self.assertRaisesRegex(ValueError, "^a time-out is 0 or more, not "):
                    refused()
            self.assertEqual(client.get_ver(float("inf")).version, "V1")
            self.assertEqual(len(daemon.requests), 1)

    def test_sends_a_signal_without_waiting(self):
        with FakeDaemon() as daemon, quon_mcu.Client() as client:
            client.set_led(quon_mcu.Value(2), timeout=0)
            self.assertEqual(daemon.request(0), ("signal.quon.mcu.set.led", 0, b"\2"))

    def test_refuses_another_request_than_its_own(self):
        with FakeDaemon() as daemon, quon_mcu.Client() as client:
            for wrong, shown in ((None, "None"), (5, "5"), (quon_mcu.Selector(1), "Selector.*")):
                text = f"^signal.quon.mcu.set.led takes a Value, not {shown}$"
                with self.assertRaisesRegex(ValueError, text):
                    client.set_led(wrong)
            with self.assertRaisesRegex(ValueError, "takes a Selector, not None$"):
                client.get_wifi_scanf_info(None)
            client.set_wdg_feed()
            self.assertEqual(daemon.request(0)[0], "signal.quon.mcu.set.wdg.feed")

    def test_tells_an_answer_that_contradicts_itself(self):
        for answer in ((4, b"123"), (4357, bytes(4356)), (2, b"123")):
            with FakeDaemon(lambda _n, _d, a=answer: a), quon_mcu.Client() as client:
                with self.assertRaises(quon_mcu.Malformed):
                    client.get_ver()

    def test_drops_what_does_not_answer_it(self):
        first = []

        def stale(_name, _data):
            first.append(1)
            return b"" if len(first) == 1 else (2, b"V2")

        with FakeDaemon(stale) as daemon, quon_mcu.Client() as client:
            with self.assertRaises(quon_mcu.TimedOut):
                client.get_ver(timeout=0.01)
            daemon.request(0)
            late = list(RECORD.unpack(daemon.records[0]))
            late[6], late[7], late[8] = 3, 3, b"old"
            daemon._peers[0].sendall(RECORD.pack(*late))
            of_another = [late[0], late[1] + 1, *late[2:5], b"method.quon.mcu.get.time", *late[6:]]
            daemon._peers[0].sendall(RECORD.pack(*of_another))
            self.assertEqual(client.get_ver(LONG).version, "V2")

    def test_tells_that_nobody_is_there_and_that_the_connection_is_lost(self):
        with self.assertRaisesRegex(quon_mcu.NoConnection, "nobody answers at " + BUS_PATH):
            quon_mcu.Client()
        with FakeDaemon() as daemon, quon_mcu.Client() as client:
            client.set_wdg_feed()
            daemon.request()
            daemon.hang_up()
            with self.assertRaises(quon_mcu.NoConnection):
                client.get_ver(LONG)

    def test_waits_for_a_daemon_that_is_starting(self):
        started = []
        starter = threading.Timer(0.1, lambda: started.append(FakeDaemon(replying(b"V1"))))
        starter.start()
        with quon_mcu.Client(wait=LONG) as client:
            self.assertEqual(client.get_ver(LONG).version, "V1")
        starter.join()
        started[0].__exit__()

    def test_refuses_names_and_payloads_that_do_not_fit(self):
        for name in ("", "n" * 64, "a\0b"):
            with self.assertRaises(ValueError):
                quon_mcu.Client(name)
        with FakeDaemon(), quon_mcu.Client() as client, self.assertRaises(ValueError):
            client.call("method.quon.mcu.get.ver", bytes(4357))


class Flows(unittest.TestCase):
    def test_next_event_is_waited_for(self):
        asked = []

        def third(_name, _data):
            asked.append(1)
            return (33, b"\x0b" * 33) if len(asked) == 3 else (-1, b"")

        with FakeDaemon(third), quon_mcu.Client() as client:
            self.assertEqual(client.next_event(LONG).bytes, b"\x0b" * 33)
        self.assertEqual(len(asked), 3)

    def test_next_event_ends_by_its_time_out_and_tells_another_failure(self):
        with FakeDaemon(failing(-1)), quon_mcu.Client() as client:
            start = time.monotonic()
            with self.assertRaises(quon_mcu.TimedOut):
                client.next_event(0.15)
            self.assertGreaterEqual(time.monotonic() - start, 0.15)
        with FakeDaemon(failing(-2)), quon_mcu.Client() as client:
            with self.assertRaises(quon_mcu.Failed):
                client.next_event(LONG)

    def test_events_are_an_iterator_that_ends_when_none_comes(self):
        queue = [b"\1" * 33, b"\2" * 33]
        with FakeDaemon(lambda _n, _d: (33, queue.pop(0)) if queue else (-1, b"")):
            with quon_mcu.Client() as client:
                got = [event.bytes[0] for event in client.events(timeout=0.01)]
        self.assertEqual(got, [1, 2])

    def test_commands_have_a_wait_status_and_output(self):
        with FakeDaemon(replying(b"768")) as daemon, quon_mcu.Client() as client:
            self.assertEqual(os.waitstatus_to_exitcode(client.exec("exit 3")), 3)
            self.assertEqual(daemon.request()[2], b"exit 3\0")
            self.assertEqual(client.popen("ls"), b"768")
        with FakeDaemon(replying(b"x")), quon_mcu.Client() as client:
            with self.assertRaises(quon_mcu.Malformed):
                client.exec("exit 3")

    def test_upgrade_is_its_start_its_blocks_and_its_finish(self):
        progress = []
        with FakeDaemon(replying(bytes(4))) as daemon, quon_mcu.Client() as client:
            client.upgrade(b"a" * 256 + b"bc", lambda done, size: progress.append((done, size)))
            self.assertEqual(daemon.request(0)[2], bytes.fromhex("0002010000"))
            first = bytes.fromhex("0000000000010000") + b"a" * 256 + b"\0"
            self.assertEqual(daemon.request(1)[2], first)
            second = bytes.fromhex("0001000002000000") + b"bc" + bytes(255)
            self.assertEqual(daemon.request(2)[2], second)
            self.assertEqual(daemon.request(3)[0], "method.quon.mcu.upg.finish")
            self.assertEqual(progress, [(0, 258), (256, 258), (258, 258)])
            client.upgrade(b"a" * 300, resume_from=256)
            self.assertEqual(daemon.request(4)[0], "method.quon.mcu.upg.transmit")
            for wrong in (-256, 1, 512):
                with self.assertRaises(ValueError):
                    client.upgrade(b"a" * 300, resume_from=wrong)


class CallsInALoop(unittest.IsolatedAsyncioTestCase):
    async def test_run_at_once_over_one_connection(self):
        def scan(_name, data):
            return 241, data * 241

        with FakeDaemon(scan):
            async with quon_mcu.AsyncClient() as client:
                got = await asyncio.gather(
                    *(client.get_wifi_scanf_info(quon_mcu.Selector(i)) for i in range(1, 33))
                )
        self.assertEqual([each.bytes[240] for each in got], list(range(1, 33)))

    async def test_end_as_plain_ones_do(self):
        with FakeDaemon(failing(-7)):
            async with quon_mcu.AsyncClient() as client:
                with self.assertRaises(quon_mcu.Failed):
                    await client.get_time()
        with FakeDaemon(replying(b"1")):
            async with quon_mcu.AsyncClient() as client:
                with self.assertRaises(quon_mcu.Malformed):
                    await client.get_time()
        with FakeDaemon() as daemon:
            async with quon_mcu.AsyncClient() as client:
                with self.assertRaises(quon_mcu.TimedOut):
                    await client.get_time(timeout=0.02)
                await client.set_led(quon_mcu.Value(2))
                self.assertEqual(daemon.request(1), ("signal.quon.mcu.set.led", 0, b"\2"))
                waiting = asyncio.ensure_future(client.get_time(LONG))
                await asyncio.get_running_loop().run_in_executor(None, daemon.request, 2)
                daemon.hang_up()
                with self.assertRaises(quon_mcu.NoConnection):
                    await waiting
                with self.assertRaises(quon_mcu.NoConnection):
                    await client.get_time(LONG)
        with self.assertRaisesRegex(quon_mcu.NoConnection, "nobody answers"):
            async with quon_mcu.AsyncClient():
                pass

    async def test_refuse_negative_time_outs_and_requests_of_others(self):
        with FakeDaemon() as daemon:
            with self.assertRaisesRegex(ValueError, "^a time-out is 0 or more, not -1$"):
                quon_mcu.AsyncClient(wait=-1)
            async with quon_mcu.AsyncClient() as client:
                for refused in (client.get_time(-1), client.set_wdg_feed(-1), client.next_event(-1)):
                    with self.assertRaisesRegex(ValueError, "^a time-out is 0 or more, not -1$"):
                        await refused
                with self.assertRaisesRegex(ValueError, "^signal.* takes a Value, not None$"):
                    await client.set_led(None)
                await client.set_led(quon_mcu.Value(2), timeout=0)
                self.assertEqual(daemon.request(0), ("signal.quon.mcu.set.led", 0, b"\2"))
                with self.assertRaises(quon_mcu.TimedOut):
                    await client.get_time(timeout=0)

    async def test_give_events_commands_and_an_upgrade(self):
        queue = [b"\1" * 33, b"\2" * 33]

        def serve(name, _data):
            if name.endswith("get.event.info"):
                return (33, queue.pop(0)) if queue else (-1, b"")
            return (3, b"768") if name.endswith(("system", "popen")) else (4, bytes(4))

        with FakeDaemon(serve) as daemon:
            async with quon_mcu.AsyncClient() as client:
                got = [event.bytes[0] async for event in client.events(timeout=0.01)]
                self.assertEqual(got, [1, 2])
                self.assertEqual(await client.exec("exit 3"), 768)
                self.assertEqual(await client.popen("ls"), b"768")
                done = [each async for each in client.upgrade(b"a" * 300)]
                self.assertEqual(done, [256, 300])
                before = len(daemon.requests)
                done = [each async for each in client.upgrade(b"a" * 300, resume_from=256)]
                self.assertEqual(done, [300])
            self.assertEqual(daemon.requests[before][0], "method.quon.mcu.upg.transmit")
            self.assertEqual(daemon.requests[before][2][:8].hex(), "000100002c000000")
            self.assertEqual(daemon.requests[-1][0], "method.quon.mcu.upg.finish")

    async def test_forget_an_answer_that_nobody_waits_for(self):
        with FakeDaemon():
            async with quon_mcu.AsyncClient() as client:
                for _ in range(3):
                    with self.assertRaises(quon_mcu.TimedOut):
                        await client.get_time(timeout=0.01)
                self.assertEqual(client._waiting, {})


class AHandOff(unittest.TestCase):
    PATH = "/tmp/ws_socket"

    def hand_over(self, data, descriptors, timeout=LONG):
        """What take_socket does when the daemon sends that; what it had asked for stays."""
        self.asked = b""
        self.afterwards = b""
        with socket.socket(socket.AF_UNIX) as listener:
            listener.bind(self.PATH)
            listener.listen(1)

            def serve():
                peer, _ = listener.accept()
                with peer:
                    self.asked = peer.recv(128)
                    if data is None:
                        peer.shutdown(socket.SHUT_RDWR)
                        return
                    if data:
                        socket.send_fds(peer, [data], descriptors)
                    self.afterwards = peer.recv(128)

            thread = threading.Thread(target=serve)
            thread.start()
            try:
                return quon_mcu.take_socket("192.168.1.2", 8080, timeout)
            finally:
                thread.join()
                os.unlink(self.PATH)

    def test_gives_a_connected_socket_of_ones_own(self):
        ours, theirs = socket.socketpair()
        with ours, theirs:
            theirs.setblocking(False)
            with self.hand_over(b"\1" + bytes(7), [theirs.fileno()]) as taken:
                self.assertFalse(taken.get_inheritable())
                self.assertTrue(taken.getblocking())
                ours.sendall(b"hello")
                self.assertEqual(taken.recv(5), b"hello")
        self.assertEqual(self.asked, bytes.fromhex("00c0a80102901f"))
        self.assertEqual(self.afterwards, b"\1")

    def test_ends_with_the_error_that_fits(self):
        with socket.socket() as unconnected, self.assertRaises(quon_mcu.Failed):
            self.hand_over(b"\1" + bytes(7), [unconnected.fileno()])
        with socket.socket() as one:
            for data, descriptors in (
                (b"\2" + bytes(7), [one.fileno()]),
                (b"\1" + bytes(6), [one.fileno()]),
                (b"\1" + bytes(7), []),
            ):
                with self.assertRaises(quon_mcu.Malformed):
                    self.hand_over(data, descriptors)
        with self.assertRaises(quon_mcu.TimedOut):
            self.hand_over(b"", [], 0.02)
        self.assertEqual(self.afterwards, b"\1")
        with self.assertRaises(quon_mcu.NoConnection):
            self.hand_over(None, [])
        with self.assertRaisesRegex(quon_mcu.NoConnection, "nobody answers"):
            quon_mcu.take_socket("192.168.1.2", 8080)
        for ip, port in (("192.168.1.2", 0), ("192.168.1.2", 65536), ("localhost", 80)):
            with self.assertRaises(ValueError):
                quon_mcu.take_socket(ip, port)


if __name__ == "__main__":
    unittest.main()
