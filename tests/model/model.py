"""What the daemon shows to its peers and to the chip, as plain values.

A model holds what an outsider must know to foretell the next result: the network record, the second
MAC, the wake-up context and the event queue. It takes requests and frames and says which frames, results
and log lines follow. It knows nothing of sockets, threads or time.
"""

import dataclasses
import struct

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


# Records that go back as the chip made them.
DIRECT = {
    "get.wakeup.info": Query("quon_mcu_get_wakeup_info", "hi3861l_api_get_wakeup_info", 0x82, 71,
                             "mcu_get_wakeup_info failed"),
    "get.time": Query("quon_mcu_get_time", "hi3861l_api_get_time", 0x84, 10,
                      "mcu_get_time failed"),
    "get.battery.status": Query("quon_mcu_get_battery_status", "hi3861l_api_get_battery_status",
                                0x86, 5, "mcu_get_battery_status failed"),
    "get.pir.info": Query("quon_mcu_get_pir_info", "hi3861l_api_get_pir_info", 0x89, 36,
                          "mcu_get_pir_info failed"),
    "get.wifi.status": Query("quon_mcu_get_wifi_status", "hi3861l_api_get_wifi_status", 0x8C, 70,
                             "mcu_get_wifi_status failed"),
    "get.store.params": Query("quon_mcu_get_store_params", "hi3861l_api_get_store_params", 0x93,
                              48, "mcu_get_store_params failed"),
    "get.alarm": Query("quon_mcu_get_alarm", "hi3861l_api_get_alarm", 0x99, 7,
                       "mcu_get_alarm failed"),
    "get.status.info": Query("quon_mcu_get_status_info", "hi3861l_api_get_status_info", 0xA3, 136,
                             "mcu_get_status_info failed"),
    "get.config.info": Query("quon_mcu_get_config_info", "hi3861l_api_get_config_info", 0xA7, 256,
                             "mcu_get_config_info failed"),
    "get.wifi.extended.status": Query("quon_mcu_get_wifi_extended_status",
                                      "hi3861l_api_get_wifi_extended_status", 0xAA, 264,
                                      "mcu_get_wifi_extended_status failed"),
    "get.soc.time.cur.info": Query("quon_mcu_get_soc_poweron_time_cur_info",
                                   "hi3861l_api_get_soc_poweron_time_cur_info", 0xAD, 212,
                                   "mcu_get_soc_poweron_time_cur_info failed"),
}

# Lists: a count, then entries of a fixed size.
LISTS = {
    "get.err.report": (36, Query("quon_mcu_get_err_report", "hi3861l_api_get_err_report", 0x9E,
                                 181, "mcu_get_err_report failed")),
    "get.soc.time.list": (44, Query("quon_mcu_get_soc_poweron_time_list",
                                    "hi3861l_api_get_soc_poweron_time_info_list", 0xAC, 221,
                                    "mcu_get_soc_poweron_time_info_list failed")),
}

# Texts: as long as they are.
TEXTS = {
    "get.ver": Query("quon_mcu_get_version", "hi3861l_api_get_version", 0x80, 0,
                     "mcu_get_version failed"),
    "get.soc.min.ver": Query("quon_mcu_get_soc_min_version", "hi3861l_api_get_soc_min_version",
                             0x9F, 0, "mcu_get_soc_min_version failed"),
}

WATCHDOG = Query("quon_mcu_get_wdg_state", "hi3861l_api_get_wdg_state", 0x95, 1,
                 "mcu_get_wdg_state failed")
SCAN = Query("quon_mcu_get_wifi_scanf_info", "hi3861l_api_get_wifi_scanf_info", 0xA9, 241,
             "quon_mcu_get_wifi_scanf_info failed")
UPGRADE_START = Query("quon_mcu_upg_start", "hi3861l_api_upg_start", 0x8F, 4,
                      "mcu_upg_start failed")
UPGRADE_BLOCK = Query("quon_mcu_upg_transmit", "hi3861l_api_upg_transmit", 0x90, 4,
                      "mcu_upg_transmit failed")

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
EMPTY = {
    "get.log.profile": "quon_mcu_get_log_profile",
    "get.bit.err.rate": "quon_mcu_get_bit_err_rate",
}

# Commands: message type and number of request bytes that travel.
COMMANDS = {
    "set.time": (0x83, 10),
    "set.led": (0x85, 1),
    "set.pir.switch": (0x87, 1),
    "set.pir.sensitivity": (0x88, 1),
    "set.pir.info": (0xA2, 36),
    "set.wifi.connect": (0x8A, 134),
    "set.wifi.disconnect": (0x8B, 0),
    "set.wifi.keepalive": (0x8D, 164),
    "set.wifi.extended.info": (0x9D, 66),
    "set.system.state": (0x8E, 1),
    "set.store.params": (0x92, 48),
    "set.wdg.state": (0x94, 1),
    "set.wdg.period": (0x96, 4),
    "set.wdg.feed": (0x97, 0),
    "set.alarm": (0x98, 7),
    "set.ap.start": (0x9A, 166),
    "set.ap.stop": (0x9B, 0),
    "set.crash.test": (0x9C, 0),
    "set.uart.switch": (0xA0, 1),
    "set.wakeup.info": (0xA1, 71),
    "set.charge.auto.poweron": (0xA4, 67),
    "set.tamper.info": (0xA6, 1),
    "set.soc.time.info": (0xAB, 44),
}

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
