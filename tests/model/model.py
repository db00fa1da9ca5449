"""What the daemon shows to its peers and to the chip, as plain values.

A model holds what an outsider must know to foretell the next result: the network record, the second
MAC, the wake-up context and the event queue. It takes requests and frames and says which frames, results
and log lines follow. It knows nothing of sockets, threads or time.
"""

import dataclasses
import struct

import expected_table

PAYLOAD = 384  # of a chip message
MESSAGE = 384  # what the channel takes of one datagram, header included
CHANNEL_HEADER = 16
FRAME_HEAD = 5
REPLY = 4356
EVENT = 33
QUEUE_DEPTH = 10

METHOD = "method.quon.mcu."
SIGNAL = "signal.quon.mcu."

DAEMON = "QUON_MCU_DAEMON"
DRIVER = "HI3861L"


@dataclasses.dataclass(frozen=True)
class Query:
    """A service that asks the chip for one record."""

    handler: str
    operation: str
    type: int
    size: int
    failure: str


def query(name):
    service = expected_table.SERVICES[name]
    operation = service.operation
    return Query(service.handler, operation.name, operation.type, service.size, service.failure)


def answered(answer, reply):
    """The services whose chip's answer and whose reply are of these kinds."""
    return [name for name, service in expected_table.SERVICES.items()
            if service.operation and service.operation.type is not None
            and service.operation.answer == answer and service.reply in reply]


# Records that go back as the chip made them.
DIRECT = {name: query(name) for name in answered("kByLength", {"kDirect"})}

# Lists: a count, then entries of a fixed size.
LISTS = {name: (expected_table.SERVICES[name].operation.entry, query(name))
         for name in answered("kList", {"kDirect"})}

# Texts: as long as they are.
TEXTS = {name: query(name) for name in answered("kText", {"kTextDirect", "kTextStaged"})}

WATCHDOG = query("get.wdg.state")
SCAN = query("get.wifi.scanf.info")
UPGRADE_START = query("upg.start")
UPGRADE_BLOCK = query("upg.transmit")

QUERIES = {
    **DIRECT,
    **{name: query for name, (_, query) in LISTS.items()},
    **TEXTS,
    "get.wdg.state": WATCHDOG,
    "get.wifi.scanf.info": SCAN,
    "upg.start": UPGRADE_START,
    "upg.transmit": UPGRADE_BLOCK,
}

# Empty slots: the handler finds nobody to ask.
EMPTY = {name: service.handler for name, service in expected_table.SERVICES.items()
         if service.kind == "method" and service.operation and not service.operation.name}

# Commands: message type and number of request bytes that travel.
COMMANDS = {name: (service.operation.type, service.request)
            for name, service in expected_table.SERVICES.items()
            if service.kind == "signal" and service.passed != "kPointerAndLength"
            and service.operation and service.operation.type is not None}

# The start-up snapshot's questions, in their order, with their places in the context.
NETWORK_QUERY = 0x81
SNAPSHOT = [
    (0x82, 0, 71),
    (0x84, 71, 10),
    (0x86, 81, 5),
    (0x8C, 86, 70),
    (None, 156, 160),  # the Wi-Fi info needs no question
    (0x93, 316, 48),
    (0x80, 364, 32),
]


def padded(data, size):
    return data[:size] + bytes(size - len(data[:size]))


def frame(type_, body, declared=None):
    length = len(body) if declared is None else declared
    return struct.pack("<BI", type_, length) + body


class Answer:
    """A frame of the chip as the driver reads it."""

    def __init__(self, raw):
        seen = raw[: MESSAGE - CHANNEL_HEADER]
        head = padded(seen, FRAME_HEAD)
        self.type = head[0]
        self.length = min(struct.unpack("<I", head[1:])[0], PAYLOAD)
        self.payload = padded(padded(seen[FRAME_HEAD:], PAYLOAD)[: self.length], PAYLOAD)


def text_of(answer):
    return answer.payload.split(b"\0")[0]


def line(tag, function, text):
    return (tag, function, text)


def failed(tag, function, reason):
    return line(tag, function, f"[{reason}] failed")


class Model:
    def __init__(self):
        self.network = bytes(26)
        self.second_mac = bytes(6)
        self.mac_applied = False
        self.context = bytes(400)
        self.events = []

    # ---- Start

    def start(self, answers):
        """`answers`: for each question of the start, by its type, the chip's frame."""
        self.network = padded(Answer(answers[NETWORK_QUERY]).payload, 26)
        context = bytearray(400)
        for type_, place, size in SNAPSHOT:
            if type_ is None:
                record = self.wifi_info()
            else:
                record = Answer(answers[type_]).payload
            if type_ == 0x82:
                self.second_mac = record[54:60]
            if type_ == 0x80:
                record = text_of(Answer(answers[type_]))
            context[place : place + size] = padded(record, size)
        self.context = bytes(context)

    # ---- Methods

    @staticmethod
    def question(service, request):
        """The frame that a query sends."""
        query = QUERIES[service]
        if query is SCAN:
            return frame(query.type, request[:1])
        if query is UPGRADE_START:
            return frame(query.type, request[:5])
        if query is UPGRADE_BLOCK:
            count = min(struct.unpack("<I", request[4:8])[0], 256)
            data = padded(request[8 : 8 + count], 256)
            return frame(query.type, request[:8] + data + request[264:265])
        return frame(query.type, b"")

    def answered(self, service, raw):
        """Result, payload and log lines after the chip's frame `raw`."""
        answer = Answer(raw)
        if service in DIRECT:
            if DIRECT[service].type == 0x82:
                self.second_mac = answer.payload[54:60]
            return DIRECT[service].size, answer.payload, []
        if service in LISTS:
            size, query = LISTS[service]
            count = answer.payload[0]
            room = min(count * size, PAYLOAD - 1)
            return query.size, answer.payload[: 1 + room], []
        if service in TEXTS:
            return len(text_of(answer)), text_of(answer), []
        if service == "get.wdg.state":
            return 1, str(answer.payload[0]).encode(), []
        if service == "get.wifi.scanf.info":
            return SCAN.size, answer.payload[: SCAN.size], []
        if service == "upg.transmit" and answer.payload[4] != 0xA1:
            return -1, b"", [failed(DAEMON, UPGRADE_BLOCK.handler, UPGRADE_BLOCK.failure)]
        return 4, bytes(4), []

    @staticmethod
    def unanswered(service):
        query = QUERIES[service]
        return -1, b"", [
            failed(DRIVER, query.operation, "hi3861l_send_msg_sync failed"),
            failed(DAEMON, query.handler, query.failure),
        ]

    def wifi_info(self):
        mac = self.second_mac if any(self.second_mac) else self.network[12:18]

        def dotted(octets):
            return ".".join(str(octet) for octet in octets).encode()

        fields = [
            ":".join(f"{octet:02x}" for octet in mac).encode(),
            dotted(self.network[0:4]),
            dotted(self.network[8:12]),
        ]
        for place in (18, 22):
            octets = self.network[place : place + 4]
            fields.append(dotted(octets) if any(octets) else b"")
        return b"".join(padded(field, 32) for field in fields)

    def local(self, service):
        """Result, payload and log lines of a method that asks nobody."""
        if service in EMPTY:
            return -1, b"", [line(DAEMON, EMPTY[service], "func is null")]
        if service == "get.wifi.info":
            return 160, self.wifi_info(), []
        if service == "get.allwakeup.info":
            return 400, self.context, []
        if service == "get.event.info":
            if not self.events:
                return -1, b"", []
            return EVENT, self.events.pop(0), []
        raise KeyError(service)

    # ---- Signals

    @staticmethod
    def command(service, request, length):
        """Frames and log lines of a signal; `length` is the record's data_len."""
        if service == "set.log.profile":
            return [], [line(DAEMON, "quon_mcu_set_log_profile", "func is null")]
        if service == "set.cmd":
            if length > PAYLOAD:
                return [], [
                    failed(DRIVER, "hi3861l_api_set_cmd", "param is invalid"),
                    failed(DAEMON, "quon_mcu_set_cmd", "mcu_set_cmd failed"),
                ]
            return [frame(0xA5, request[:length])], []
        type_, size = COMMANDS[service]
        return [frame(type_, request[:size])], []

    # ---- The chip speaks

    def unsolicited(self, raw):
        """The log lines of a frame that nobody asked for."""
        message = Answer(raw)
        lines = []
        if message.type > 0x05:
            return lines
        if message.type == 0x03 and message.payload[1] in (1, 2):
            lines += self.network_event(message.payload[2:28])
        if len(self.events) < QUEUE_DEPTH:
            self.events.append(message.payload[:EVENT])
        else:
            lines += [
                line("TAG", "QN_QUEUE_Push", "queue hi3861 event is full!"),
                failed(DRIVER, "hi3861l_event_push", "QN_QUEUE_Push failed"),
            ]
        return lines

    def network_event(self, record):
        mac = record[12:18]
        if not (self.mac_applied and mac == self.network[12:18]):
            if not any(mac):
                return [line(DRIVER, "hi3861l_update_ip_info", "mac is invalid")]
            self.mac_applied = True
        self.network = record
        return []
