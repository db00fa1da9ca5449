"""The records and services of quon_mcu_daemon, generated from the table of the services.

A field of an answer is None where the chip may not have sent it: the daemon fills a short answer up
with zeros, so a zero field followed only by zeros in its answer cannot be told from a missing one.
"""

# ruff: noqa: E501
# pylint: disable=line-too-long,too-many-lines

from __future__ import annotations

from dataclasses import dataclass, field
from typing import Any, ClassVar, cast

from ._layout import Field, Kind, Layout, Service

DEFAULT_TIMEOUT = 5.0
VERSION = "1.0.0"

__all__ = [
    "Version",
    "WakeupInfo",
    "WakeupContext",
    "Time",
    "Value",
    "BatteryStatus",
    "PirInfo",
    "WifiConnect",
    "WifiStatus",
    "WifiInfo",
    "WifiKeepalive",
    "WifiExtendedInfo",
    "Selector",
    "WifiScanfInfo",
    "EventInfo",
    "UpgStart",
    "ZeroWord",
    "UpgBlock",
    "StoreParams",
    "WdgStateText",
    "WdgPeriod",
    "Alarm",
    "ApStart",
    "ErrReport",
    "ShellCommand",
    "ShellStatus",
    "ShellOutput",
    "LogProfileRequest",
    "LogProfile",
    "SocMinVersion",
    "StatusInfo",
    "ChargeAutoPoweron",
    "RawCommand",
    "ConfigInfo",
    "BitErrRate",
    "SocupTime",
    "WifiExtendedStatus",
    "SocTimeInfo",
    "SocTimeList",
    "SocTimeCur",
]


@dataclass
class Version:
    """get.ver (reply); up to 384 bytes on the bus."""

    #: firmware version of the chip
    version: str | None = ""
    LAYOUT: ClassVar[Layout] = Layout(
        "version", 0, 384, 0,
        (
            Field("version", 0, 0, Kind.TEXT, True, False, "", {}),
        ),
        (),
    )


@dataclass
class WakeupInfo:
    """get.wakeup.info (reply), set.wakeup.info (request); 71 bytes on the bus."""

    #: why the main processor was woken; 1, 3, 13 starts the remote wake-up hand-off
    reason: int | None = 0
    #: not interpreted
    rest_1: bytes = bytes(53)
    #: hardware address that get.wifi.info prefers
    mac: str | None = "00:00:00:00:00:00"
    #: first word of get.socup.time
    socup_time1: int | None = 0
    #: second word of get.socup.time
    socup_time2: int | None = 0
    #: not interpreted
    rest_68: bytes = bytes(3)
    LAYOUT: ClassVar[Layout] = Layout(
        "wakeup_info", 71, 71, 0,
        (
            Field("reason", 0, 1, Kind.U8, True, False, "", {1: "starts the remote wake-up hand-off", 3: "starts the remote wake-up hand-off", 13: "starts the remote wake-up hand-off"}),
            Field("rest_1", 1, 53, Kind.BYTES, False, False, "", {}),
            Field("mac", 54, 6, Kind.MAC, True, False, "", {}),
            Field("socup_time1", 60, 4, Kind.U32, True, False, "", {}),
            Field("socup_time2", 64, 4, Kind.U32, True, False, "", {}),
            Field("rest_68", 68, 3, Kind.BYTES, False, False, "", {}),
        ),
        (),
    )


@dataclass
class WakeupContext:
    """get.allwakeup.info (reply); 400 bytes on the bus."""

    #: why the main processor was woken; 1, 3, 13 starts the remote wake-up hand-off
    wakeup_reason: int | None = 0
    #: not interpreted
    rest_1: bytes = bytes(53)
    #: hardware address in the wake-up info
    wakeup_mac: str | None = "00:00:00:00:00:00"
    #: first word of get.socup.time
    socup_time1: int | None = 0
    #: second word of get.socup.time
    socup_time2: int | None = 0
    #: not interpreted
    rest_68: bytes = bytes(3)
    #: year minus 2000
    time_year: int | None = 0
    #: month
    time_month: int | None = 0
    #: day of the month
    time_day: int | None = 0
    #: hour
    time_hour: int | None = 0
    #: minute
    time_minute: int | None = 0
    #: second
    time_second: int | None = 0
    #: not interpreted
    rest_77: bytes = bytes(4)
    #: battery status record
    battery_status: bytes | None = bytes(5)
    #: Wi-Fi status record
    wifi_status: bytes | None = bytes(70)
    #: hardware address of wlan0
    wifi_mac: str | None = ""
    #: address of wlan0
    wifi_ip: str | None = ""
    #: default gateway
    wifi_gateway: str | None = ""
    #: primary name server, or empty
    wifi_dns1: str | None = ""
    #: secondary name server, or empty
    wifi_dns2: str | None = ""
    #: not interpreted
    rest_316: bytes = bytes(38)
    #: server of the remote wake-up connection
    server_ip: str | None = "0.0.0.0"
    #: its TCP port
    server_port: int | None = 0
    #: not interpreted
    rest_360: bytes = bytes(4)
    #: firmware version of the chip
    version: str | None = ""
    #: moment of the snapshot on the monotonic clock, ms
    start_ms: int | None = 0
    LAYOUT: ClassVar[Layout] = Layout(
        "wakeup_context", 400, 400, 0,
        (
            Field("wakeup_reason", 0, 1, Kind.U8, True, False, "", {1: "starts the remote wake-up hand-off", 3: "starts the remote wake-up hand-off", 13: "starts the remote wake-up hand-off"}),
            Field("rest_1", 1, 53, Kind.BYTES, False, False, "", {}),
            Field("wakeup_mac", 54, 6, Kind.MAC, True, False, "", {}),
            Field("socup_time1", 60, 4, Kind.U32, True, False, "", {}),
            Field("socup_time2", 64, 4, Kind.U32, True, False, "", {}),
            Field("rest_68", 68, 3, Kind.BYTES, False, False, "", {}),
            Field("time_year", 71, 1, Kind.S8, True, False, "", {}),
            Field("time_month", 72, 1, Kind.S8, True, False, "", {}),
            Field("time_day", 73, 1, Kind.S8, True, False, "", {}),
            Field("time_hour", 74, 1, Kind.S8, True, False, "", {}),
            Field("time_minute", 75, 1, Kind.S8, True, False, "", {}),
            Field("time_second", 76, 1, Kind.S8, True, False, "", {}),
            Field("rest_77", 77, 4, Kind.BYTES, False, False, "", {}),
            Field("battery_status", 81, 5, Kind.BYTES, True, False, "", {}),
            Field("wifi_status", 86, 70, Kind.BYTES, True, False, "", {}),
            Field("wifi_mac", 156, 32, Kind.ADDRESS_TEXT, True, False, "", {}),
            Field("wifi_ip", 188, 32, Kind.ADDRESS_TEXT, True, False, "", {}),
            Field("wifi_gateway", 220, 32, Kind.ADDRESS_TEXT, True, False, "", {}),
            Field("wifi_dns1", 252, 32, Kind.TEXT, True, False, "", {}),
            Field("wifi_dns2", 284, 32, Kind.TEXT, True, False, "", {}),
            Field("rest_316", 316, 38, Kind.BYTES, False, False, "", {}),
            Field("server_ip", 354, 4, Kind.IPV4, True, False, "", {}),
            Field("server_port", 358, 2, Kind.U16, True, False, "", {}),
            Field("rest_360", 360, 4, Kind.BYTES, False, False, "", {}),
            Field("version", 364, 32, Kind.TEXT, True, False, "", {}),
            Field("start_ms", 396, 4, Kind.U32, True, True, "ms", {}),
        ),
        (0, 71, 81, 86, 156, 316, 364, 396, ),
    )


@dataclass
class Time:
    """set.time (request), get.time (reply); 10 bytes on the bus."""

    #: year minus 2000, 0 to 127
    year: int | None = 0
    #: month, 1 to 12
    month: int | None = 0
    #: day of the month, 1 to 31
    day: int | None = 0
    #: hour, 0 to 23
    hour: int | None = 0
    #: minute, 0 to 59
    minute: int | None = 0
    #: second, 0 to 59
    second: int | None = 0
    #: not interpreted
    rest_6: bytes = bytes(4)
    LAYOUT: ClassVar[Layout] = Layout(
        "time", 10, 10, 0,
        (
            Field("year", 0, 1, Kind.S8, True, False, "", {}),
            Field("month", 1, 1, Kind.S8, True, False, "", {}),
            Field("day", 2, 1, Kind.S8, True, False, "", {}),
            Field("hour", 3, 1, Kind.S8, True, False, "", {}),
            Field("minute", 4, 1, Kind.S8, True, False, "", {}),
            Field("second", 5, 1, Kind.S8, True, False, "", {}),
            Field("rest_6", 6, 4, Kind.BYTES, False, False, "", {}),
        ),
        (),
    )


@dataclass
class Value:
    """set.led (request), set.pir.switch (request), set.pir.sensitivity (request), set.system.state (request), set.wdg.state (request), set.uart.switch (request), set.tamper.info (request); 1 bytes on the bus."""

    #: the value, passed to the chip unchanged
    value: int = 0
    LAYOUT: ClassVar[Layout] = Layout(
        "value", 1, 1, 0,
        (
            Field("value", 0, 1, Kind.U8, True, False, "", {}),
        ),
        (),
    )


@dataclass
class BatteryStatus:
    """get.battery.status (reply); 5 bytes on the bus."""

    #: not interpreted
    bytes: bytes | None = bytes(5)
    LAYOUT: ClassVar[Layout] = Layout(
        "battery_status", 5, 5, 0,
        (
            Field("bytes", 0, 5, Kind.BYTES, True, False, "", {}),
        ),
        (),
    )


@dataclass
class PirInfo:
    """get.pir.info (reply), set.pir.info (request); 36 bytes on the bus."""

    #: not interpreted
    bytes: bytes | None = bytes(36)
    LAYOUT: ClassVar[Layout] = Layout(
        "pir_info", 36, 36, 0,
        (
            Field("bytes", 0, 36, Kind.BYTES, True, False, "", {}),
        ),
        (),
    )


@dataclass
class WifiConnect:
    """set.wifi.connect (request); 134 bytes on the bus."""

    #: not interpreted
    bytes: bytes = bytes(134)
    LAYOUT: ClassVar[Layout] = Layout(
        "wifi_connect", 134, 134, 0,
        (
            Field("bytes", 0, 134, Kind.BYTES, True, False, "", {}),
        ),
        (),
    )


@dataclass
class WifiStatus:
    """get.wifi.status (reply); 70 bytes on the bus."""

    #: not interpreted
    bytes: bytes | None = bytes(70)
    LAYOUT: ClassVar[Layout] = Layout(
        "wifi_status", 70, 70, 0,
        (
            Field("bytes", 0, 70, Kind.BYTES, True, False, "", {}),
        ),
        (),
    )


@dataclass
class WifiInfo:
    """get.wifi.info (reply); 160 bytes on the bus."""

    #: hardware address of wlan0
    mac: str | None = ""
    #: address of wlan0
    ip: str | None = ""
    #: default gateway
    gateway: str | None = ""
    #: primary name server, or empty
    dns1: str | None = ""
    #: secondary name server, or empty
    dns2: str | None = ""
    LAYOUT: ClassVar[Layout] = Layout(
        "wifi_info", 160, 160, 0,
        (
            Field("mac", 0, 32, Kind.ADDRESS_TEXT, True, False, "", {}),
            Field("ip", 32, 32, Kind.ADDRESS_TEXT, True, False, "", {}),
            Field("gateway", 64, 32, Kind.ADDRESS_TEXT, True, False, "", {}),
            Field("dns1", 96, 32, Kind.TEXT, True, False, "", {}),
            Field("dns2", 128, 32, Kind.TEXT, True, False, "", {}),
        ),
        (),
    )


@dataclass
class WifiKeepalive:
    """set.wifi.keepalive (request); 164 bytes on the bus."""

    #: not interpreted
    bytes: bytes = bytes(164)
    LAYOUT: ClassVar[Layout] = Layout(
        "wifi_keepalive", 164, 164, 0,
        (
            Field("bytes", 0, 164, Kind.BYTES, True, False, "", {}),
        ),
        (),
    )


@dataclass
class WifiExtendedInfo:
    """set.wifi.extended.info (request); 66 bytes on the bus."""

    #: not interpreted
    bytes: bytes = bytes(66)
    LAYOUT: ClassVar[Layout] = Layout(
        "wifi_extended_info", 66, 66, 0,
        (
            Field("bytes", 0, 66, Kind.BYTES, True, False, "", {}),
        ),
        (),
    )


@dataclass
class Selector:
    """get.wifi.scanf.info (request); 1 bytes on the bus."""

    #: which scan information, passed to the chip unchanged
    selector: int = 0
    LAYOUT: ClassVar[Layout] = Layout(
        "selector", 1, 1, 0,
        (
            Field("selector", 0, 1, Kind.U8, True, False, "", {}),
        ),
        (),
    )


@dataclass
class WifiScanfInfo:
    """get.wifi.scanf.info (reply); 241 bytes on the bus."""

    #: not interpreted
    bytes: bytes | None = bytes(241)
    LAYOUT: ClassVar[Layout] = Layout(
        "wifi_scanf_info", 241, 241, 0,
        (
            Field("bytes", 0, 241, Kind.BYTES, True, False, "", {}),
        ),
        (),
    )


@dataclass
class EventInfo:
    """get.event.info (reply); 33 bytes on the bus."""

    #: not interpreted
    bytes: bytes = bytes(33)
    LAYOUT: ClassVar[Layout] = Layout(
        "event_info", 33, 33, 0,
        (
            Field("bytes", 0, 33, Kind.BYTES, True, False, "", {}),
        ),
        (),
    )


@dataclass
class UpgStart:
    """upg.start (request); 5 bytes on the bus."""

    #: first value, passed to the chip unchanged
    first: int = 0
    #: second value, passed to the chip unchanged
    second: int = 0
    LAYOUT: ClassVar[Layout] = Layout(
        "upg_start", 5, 5, 0,
        (
            Field("first", 0, 1, Kind.U8, True, False, "", {}),
            Field("second", 1, 4, Kind.U32, True, False, "", {}),
        ),
        (),
    )


@dataclass
class ZeroWord:
    """upg.start (reply), upg.transmit (reply), upg.finish (reply); 4 bytes on the bus."""

    #: always 0
    zero: int = 0
    LAYOUT: ClassVar[Layout] = Layout(
        "zero_word", 4, 4, 0,
        (
            Field("zero", 0, 4, Kind.U32, True, False, "", {}),
        ),
        (),
    )


@dataclass
class UpgBlock:
    """upg.transmit (request); 265 bytes on the bus."""

    #: passed to the chip unchanged
    word: int = 0
    #: data bytes of this block, at most 256, B
    length: int = 0
    #: piece of the image
    data: bytes = bytes(256)
    #: passed to the chip unchanged
    tail: int = 0
    LAYOUT: ClassVar[Layout] = Layout(
        "upg_block", 265, 265, 0,
        (
            Field("word", 0, 4, Kind.U32, True, False, "", {}),
            Field("length", 4, 4, Kind.U32, True, False, "B", {}),
            Field("data", 8, 256, Kind.BYTES, True, False, "", {}),
            Field("tail", 264, 1, Kind.U8, True, False, "", {}),
        ),
        (),
    )


@dataclass
class StoreParams:
    """set.store.params (request), get.store.params (reply); 48 bytes on the bus."""

    #: not interpreted
    rest_0: bytes = bytes(38)
    #: server of the remote wake-up connection
    server_ip: str | None = "0.0.0.0"
    #: its TCP port
    server_port: int | None = 0
    #: not interpreted
    rest_44: bytes = bytes(4)
    LAYOUT: ClassVar[Layout] = Layout(
        "store_params", 48, 48, 0,
        (
            Field("rest_0", 0, 38, Kind.BYTES, False, False, "", {}),
            Field("server_ip", 38, 4, Kind.IPV4, True, False, "", {}),
            Field("server_port", 42, 2, Kind.U16, True, False, "", {}),
            Field("rest_44", 44, 4, Kind.BYTES, False, False, "", {}),
        ),
        (),
    )


@dataclass
class WdgStateText:
    """get.wdg.state (reply); 1 bytes on the bus."""

    #: first decimal digit of the watchdog state
    state: str | None = ""
    LAYOUT: ClassVar[Layout] = Layout(
        "wdg_state_text", 1, 1, 0,
        (
            Field("state", 0, 1, Kind.DIGIT_TEXT, True, False, "", {}),
        ),
        (),
    )


@dataclass
class WdgPeriod:
    """set.wdg.period (request); 4 bytes on the bus."""

    #: watchdog period, in the chip's unit
    period: int = 0
    LAYOUT: ClassVar[Layout] = Layout(
        "wdg_period", 4, 4, 0,
        (
            Field("period", 0, 4, Kind.U32, True, False, "", {}),
        ),
        (),
    )


@dataclass
class Alarm:
    """set.alarm (request), get.alarm (reply); 7 bytes on the bus."""

    #: the chip's
    word: int | None = 0
    #: the chip's
    byte4: int | None = 0
    #: the chip's
    byte5: int | None = 0
    #: the chip's
    byte6: int | None = 0
    LAYOUT: ClassVar[Layout] = Layout(
        "alarm", 7, 7, 0,
        (
            Field("word", 0, 4, Kind.U32, True, False, "", {}),
            Field("byte4", 4, 1, Kind.U8, True, False, "", {}),
            Field("byte5", 5, 1, Kind.U8, True, False, "", {}),
            Field("byte6", 6, 1, Kind.U8, True, False, "", {}),
        ),
        (),
    )


@dataclass
class ApStart:
    """set.ap.start (request); 166 bytes on the bus."""

    #: not interpreted
    bytes: bytes = bytes(166)
    LAYOUT: ClassVar[Layout] = Layout(
        "ap_start", 166, 166, 0,
        (
            Field("bytes", 0, 166, Kind.BYTES, True, False, "", {}),
        ),
        (),
    )


@dataclass
class ErrReport:
    """get.err.report (reply); 181 bytes on the bus."""

    #: in the chip's order
    entries: list[bytes] = field(default_factory=list)
    LAYOUT: ClassVar[Layout] = Layout(
        "err_report", 181, 181, 36,
        (
            Field("bytes", 0, 36, Kind.BYTES, True, False, "", {}),
        ),
        (),
    )


@dataclass
class ShellCommand:
    """get.system (request), get.popen (request); up to 4356 bytes on the bus."""

    #: command text, run by the shell
    command: str = ""
    LAYOUT: ClassVar[Layout] = Layout(
        "shell_command", 0, 4356, 0,
        (
            Field("command", 0, 0, Kind.TEXT, True, False, "", {}),
        ),
        (),
    )


@dataclass
class ShellStatus:
    """get.system (reply); up to 4356 bytes on the bus."""

    #: wait status of the command, in decimal
    status: str = ""
    LAYOUT: ClassVar[Layout] = Layout(
        "shell_status", 0, 4356, 0,
        (
            Field("status", 0, 0, Kind.TEXT, True, False, "", {}),
        ),
        (),
    )


@dataclass
class ShellOutput:
    """get.popen (reply); up to 4356 bytes on the bus."""

    #: first 4356 bytes of the command's standard output
    output: bytes = b""
    LAYOUT: ClassVar[Layout] = Layout(
        "shell_output", 0, 4356, 0,
        (
            Field("output", 0, 0, Kind.BYTES, True, False, "", {}),
        ),
        (),
    )


@dataclass
class LogProfileRequest:
    """set.log.profile (request); 35 bytes on the bus."""

    #: not applied by the daemon
    enable: int = 0
    #: highest log level that the daemon prints; 0 fatal, 1 error, 2 warning, 3 information, 4 debug
    level_limit: int = 0
    #: not interpreted
    rest_2: bytes = bytes(33)
    LAYOUT: ClassVar[Layout] = Layout(
        "log_profile_request", 35, 35, 0,
        (
            Field("enable", 0, 1, Kind.U8, True, False, "", {}),
            Field("level_limit", 1, 1, Kind.U8, True, False, "", {0: "fatal", 1: "error", 2: "warning", 3: "information", 4: "debug"}),
            Field("rest_2", 2, 33, Kind.BYTES, False, False, "", {}),
        ),
        (),
    )


@dataclass
class LogProfile:
    """get.log.profile (reply); 35 bytes on the bus."""

    #: not interpreted
    bytes: bytes = bytes(35)
    LAYOUT: ClassVar[Layout] = Layout(
        "log_profile", 35, 35, 0,
        (
            Field("bytes", 0, 35, Kind.BYTES, True, False, "", {}),
        ),
        (),
    )


@dataclass
class SocMinVersion:
    """get.soc.min.ver (reply); up to 384 bytes on the bus."""

    #: minimum version of the main processor's software
    version: str | None = ""
    LAYOUT: ClassVar[Layout] = Layout(
        "soc_min_version", 0, 384, 0,
        (
            Field("version", 0, 0, Kind.TEXT, True, False, "", {}),
        ),
        (),
    )


@dataclass
class StatusInfo:
    """get.status.info (reply); 136 bytes on the bus."""

    #: not interpreted
    bytes: bytes | None = bytes(136)
    LAYOUT: ClassVar[Layout] = Layout(
        "status_info", 136, 136, 0,
        (
            Field("bytes", 0, 136, Kind.BYTES, True, False, "", {}),
        ),
        (),
    )


@dataclass
class ChargeAutoPoweron:
    """set.charge.auto.poweron (request); 67 bytes on the bus."""

    #: not interpreted
    bytes: bytes = bytes(67)
    LAYOUT: ClassVar[Layout] = Layout(
        "charge_auto_poweron", 67, 67, 0,
        (
            Field("bytes", 0, 67, Kind.BYTES, True, False, "", {}),
        ),
        (),
    )


@dataclass
class RawCommand:
    """set.cmd (request); up to 384 bytes on the bus."""

    #: not interpreted
    bytes: bytes = b""
    LAYOUT: ClassVar[Layout] = Layout(
        "raw_command", 0, 384, 0,
        (
            Field("bytes", 0, 0, Kind.BYTES, True, False, "", {}),
        ),
        (),
    )


@dataclass
class ConfigInfo:
    """get.config.info (reply); 256 bytes on the bus."""

    #: not interpreted
    bytes: bytes | None = bytes(256)
    LAYOUT: ClassVar[Layout] = Layout(
        "config_info", 256, 256, 0,
        (
            Field("bytes", 0, 256, Kind.BYTES, True, False, "", {}),
        ),
        (),
    )


@dataclass
class BitErrRate:
    """get.bit.err.rate (reply); 259 bytes on the bus."""

    #: not interpreted
    bytes: bytes = bytes(259)
    LAYOUT: ClassVar[Layout] = Layout(
        "bit_err_rate", 259, 259, 0,
        (
            Field("bytes", 0, 259, Kind.BYTES, True, False, "", {}),
        ),
        (),
    )


@dataclass
class SocupTime:
    """get.socup.time (reply); 12 bytes on the bus."""

    #: bytes 60 to 63 of the wake-up info
    socup_time1: int | None = 0
    #: bytes 64 to 67 of the wake-up info
    socup_time2: int | None = 0
    #: time since the start-up snapshot, ms
    since_start: int | None = 0
    LAYOUT: ClassVar[Layout] = Layout(
        "socup_time", 12, 12, 0,
        (
            Field("socup_time1", 0, 4, Kind.U32, True, False, "", {}),
            Field("socup_time2", 4, 4, Kind.U32, True, False, "", {}),
            Field("since_start", 8, 4, Kind.U32, True, True, "ms", {}),
        ),
        (0, 8, ),
    )


@dataclass
class WifiExtendedStatus:
    """get.wifi.extended.status (reply); 264 bytes on the bus."""

    #: not interpreted
    bytes: bytes | None = bytes(264)
    LAYOUT: ClassVar[Layout] = Layout(
        "wifi_extended_status", 264, 264, 0,
        (
            Field("bytes", 0, 264, Kind.BYTES, True, False, "", {}),
        ),
        (),
    )


@dataclass
class SocTimeInfo:
    """set.soc.time.info (request); 44 bytes on the bus."""

    #: not interpreted
    bytes: bytes = bytes(44)
    LAYOUT: ClassVar[Layout] = Layout(
        "soc_time_info", 44, 44, 0,
        (
            Field("bytes", 0, 44, Kind.BYTES, True, False, "", {}),
        ),
        (),
    )


@dataclass
class SocTimeList:
    """get.soc.time.list (reply); 221 bytes on the bus."""

    #: in the chip's order
    entries: list[bytes] = field(default_factory=list)
    LAYOUT: ClassVar[Layout] = Layout(
        "soc_time_list", 221, 221, 44,
        (
            Field("bytes", 0, 44, Kind.BYTES, True, False, "", {}),
        ),
        (),
    )


@dataclass
class SocTimeCur:
    """get.soc.time.cur.info (reply); 212 bytes on the bus."""

    #: not interpreted
    bytes: bytes | None = bytes(212)
    LAYOUT: ClassVar[Layout] = Layout(
        "soc_time_cur", 212, 212, 0,
        (
            Field("bytes", 0, 212, Kind.BYTES, True, False, "", {}),
        ),
        (),
    )


SERVICES: tuple[Service, ...] = (
    Service("method.quon.mcu.get.ver", None, Version, "the chip's answer has no text"),
    Service("method.quon.mcu.get.wakeup.info", None, WakeupInfo, "zero, or not in the chip's answer"),
    Service("method.quon.mcu.get.allwakeup.info", None, WakeupContext, "no answer at the start, or zero in it"),
    Service("signal.quon.mcu.set.time", Time, None, ""),
    Service("method.quon.mcu.get.time", None, Time, "zero, or not in the chip's answer"),
    Service("signal.quon.mcu.set.led", Value, None, ""),
    Service("method.quon.mcu.get.battery.status", None, BatteryStatus, "zero, or not in the chip's answer"),
    Service("signal.quon.mcu.set.pir.switch", Value, None, ""),
    Service("signal.quon.mcu.set.pir.sensitivity", Value, None, ""),
    Service("method.quon.mcu.get.pir.info", None, PirInfo, "zero, or not in the chip's answer"),
    Service("signal.quon.mcu.set.pir.info", PirInfo, None, ""),
    Service("signal.quon.mcu.set.wifi.connect", WifiConnect, None, ""),
    Service("signal.quon.mcu.set.wifi.disconnect", None, None, ""),
    Service("method.quon.mcu.get.wifi.status", None, WifiStatus, "zero, or not in the chip's answer"),
    Service("method.quon.mcu.get.wifi.info", None, WifiInfo, "none from the chip yet, or zero in its record"),
    Service("signal.quon.mcu.set.wifi.keepalive", WifiKeepalive, None, ""),
    Service("signal.quon.mcu.set.wifi.extended.info", WifiExtendedInfo, None, ""),
    Service("method.quon.mcu.get.wifi.scanf.info", Selector, WifiScanfInfo, "zero, or not in the chip's answer"),
    Service("signal.quon.mcu.set.system.state", Value, None, ""),
    Service("method.quon.mcu.get.event.info", None, EventInfo, ""),
    Service("method.quon.mcu.upg.start", UpgStart, ZeroWord, ""),
    Service("method.quon.mcu.upg.transmit", UpgBlock, ZeroWord, ""),
    Service("method.quon.mcu.upg.finish", None, ZeroWord, ""),
    Service("signal.quon.mcu.set.store.params", StoreParams, None, ""),
    Service("method.quon.mcu.get.store.params", None, StoreParams, "zero, or not in the chip's answer"),
    Service("signal.quon.mcu.set.wdg.state", Value, None, ""),
    Service("method.quon.mcu.get.wdg.state", None, WdgStateText, "zero, or not in the chip's answer"),
    Service("signal.quon.mcu.set.wdg.period", WdgPeriod, None, ""),
    Service("signal.quon.mcu.set.wdg.feed", None, None, ""),
    Service("signal.quon.mcu.set.alarm", Alarm, None, ""),
    Service("method.quon.mcu.get.alarm", None, Alarm, "zero, or not in the chip's answer"),
    Service("signal.quon.mcu.set.crash.test", None, None, ""),
    Service("signal.quon.mcu.set.ap.start", ApStart, None, ""),
    Service("signal.quon.mcu.set.ap.stop", None, None, ""),
    Service("method.quon.mcu.get.err.report", None, ErrReport, "zero, or not in the chip's answer"),
    Service("method.quon.mcu.get.system", ShellCommand, ShellStatus, ""),
    Service("method.quon.mcu.get.popen", ShellCommand, ShellOutput, ""),
    Service("signal.quon.mcu.set.log.profile", LogProfileRequest, None, ""),
    Service("method.quon.mcu.get.log.profile", None, LogProfile, ""),
    Service("method.quon.mcu.get.soc.min.ver", None, SocMinVersion, "the chip's answer has no text"),
    Service("signal.quon.mcu.set.uart.switch", Value, None, ""),
    Service("signal.quon.mcu.set.wakeup.info", WakeupInfo, None, ""),
    Service("method.quon.mcu.get.status.info", None, StatusInfo, "zero, or not in the chip's answer"),
    Service("signal.quon.mcu.set.charge.auto.poweron", ChargeAutoPoweron, None, ""),
    Service("signal.quon.mcu.set.cmd", RawCommand, None, ""),
    Service("signal.quon.mcu.set.tamper.info", Value, None, ""),
    Service("method.quon.mcu.get.config.info", None, ConfigInfo, "zero, or not in the chip's answer"),
    Service("method.quon.mcu.get.bit.err.rate", None, BitErrRate, ""),
    Service("method.quon.mcu.get.socup.time", None, SocupTime, "no answer at the start, or zero in it"),
    Service("method.quon.mcu.get.wifi.extended.status", None, WifiExtendedStatus, "zero, or not in the chip's answer"),
    Service("signal.quon.mcu.set.soc.time.info", SocTimeInfo, None, ""),
    Service("method.quon.mcu.get.soc.time.list", None, SocTimeList, "zero, or not in the chip's answer"),
    Service("method.quon.mcu.get.soc.time.cur.info", None, SocTimeCur, "zero, or not in the chip's answer"),
)


class Services:
    """One method a service. Times are in seconds."""

    def _ask(self, service: Service, request: Any, timeout: float) -> Any:
        raise NotImplementedError

    def _tell(self, service: Service, request: Any, timeout: float) -> None:
        raise NotImplementedError

    def get_ver(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> Version:
        """firmware version of the chip"""
        return cast(Version, self._ask(SERVICES[0], None, timeout))

    def get_wakeup_info(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> WakeupInfo:
        """why and when the main processor was woken"""
        return cast(WakeupInfo, self._ask(SERVICES[1], None, timeout))

    def get_allwakeup_info(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> WakeupContext:
        """the start-up snapshot"""
        return cast(WakeupContext, self._ask(SERVICES[2], None, timeout))

    def set_time(
        self, request: Time, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """set the chip's clock"""
        self._tell(SERVICES[3], request, timeout)

    def get_time(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> Time:
        """the chip's clock"""
        return cast(Time, self._ask(SERVICES[4], None, timeout))

    def set_led(
        self, request: Value, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """set the LED state"""
        self._tell(SERVICES[5], request, timeout)

    def get_battery_status(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> BatteryStatus:
        """battery status"""
        return cast(BatteryStatus, self._ask(SERVICES[6], None, timeout))

    def set_pir_switch(
        self, request: Value, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """switch the motion sensor"""
        self._tell(SERVICES[7], request, timeout)

    def set_pir_sensitivity(
        self, request: Value, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """set the motion sensor's sensitivity"""
        self._tell(SERVICES[8], request, timeout)

    def get_pir_info(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> PirInfo:
        """motion sensor settings"""
        return cast(PirInfo, self._ask(SERVICES[9], None, timeout))

    def set_pir_info(
        self, request: PirInfo, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """set the motion sensor settings"""
        self._tell(SERVICES[10], request, timeout)

    def set_wifi_connect(
        self, request: WifiConnect, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """connect the Wi-Fi link"""
        self._tell(SERVICES[11], request, timeout)

    def set_wifi_disconnect(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """disconnect the Wi-Fi link"""
        self._tell(SERVICES[12], None, timeout)

    def get_wifi_status(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> WifiStatus:
        """state of the Wi-Fi link"""
        return cast(WifiStatus, self._ask(SERVICES[13], None, timeout))

    def get_wifi_info(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> WifiInfo:
        """network settings of wlan0 as the daemon knows them"""
        return cast(WifiInfo, self._ask(SERVICES[14], None, timeout))

    def set_wifi_keepalive(
        self, request: WifiKeepalive, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """set the Wi-Fi keep-alive"""
        self._tell(SERVICES[15], request, timeout)

    def set_wifi_extended_info(
        self, request: WifiExtendedInfo, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """set the extended Wi-Fi information"""
        self._tell(SERVICES[16], request, timeout)

    def get_wifi_scanf_info(
        self, request: Selector, timeout: float = DEFAULT_TIMEOUT
    ) -> WifiScanfInfo:
        """Wi-Fi scan information"""
        return cast(WifiScanfInfo, self._ask(SERVICES[17], request, timeout))

    def set_system_state(
        self, request: Value, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """tell the chip the system's state"""
        self._tell(SERVICES[18], request, timeout)

    def get_event_info(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> EventInfo:
        """take the oldest event off the event queue"""
        return cast(EventInfo, self._ask(SERVICES[19], None, timeout))

    def upg_start(
        self, request: UpgStart, timeout: float = DEFAULT_TIMEOUT
    ) -> ZeroWord:
        """begin a firmware upgrade"""
        return cast(ZeroWord, self._ask(SERVICES[20], request, timeout))

    def upg_transmit(
        self, request: UpgBlock, timeout: float = DEFAULT_TIMEOUT
    ) -> ZeroWord:
        """send one block of the image"""
        return cast(ZeroWord, self._ask(SERVICES[21], request, timeout))

    def upg_finish(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> ZeroWord:
        """end the firmware upgrade"""
        return cast(ZeroWord, self._ask(SERVICES[22], None, timeout))

    def set_store_params(
        self, request: StoreParams, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """store parameters in the chip"""
        self._tell(SERVICES[23], request, timeout)

    def get_store_params(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> StoreParams:
        """parameters stored in the chip"""
        return cast(StoreParams, self._ask(SERVICES[24], None, timeout))

    def set_wdg_state(
        self, request: Value, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """set the watchdog state"""
        self._tell(SERVICES[25], request, timeout)

    def get_wdg_state(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> WdgStateText:
        """watchdog state, its first digit"""
        return cast(WdgStateText, self._ask(SERVICES[26], None, timeout))

    def set_wdg_period(
        self, request: WdgPeriod, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """set the watchdog period"""
        self._tell(SERVICES[27], request, timeout)

    def set_wdg_feed(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """feed the watchdog"""
        self._tell(SERVICES[28], None, timeout)

    def set_alarm(
        self, request: Alarm, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """set the alarm"""
        self._tell(SERVICES[29], request, timeout)

    def get_alarm(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> Alarm:
        """the alarm"""
        return cast(Alarm, self._ask(SERVICES[30], None, timeout))

    def set_crash_test(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """make the chip crash, as a test"""
        self._tell(SERVICES[31], None, timeout)

    def set_ap_start(
        self, request: ApStart, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """start the access point"""
        self._tell(SERVICES[32], request, timeout)

    def set_ap_stop(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """stop the access point"""
        self._tell(SERVICES[33], None, timeout)

    def get_err_report(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> ErrReport:
        """the chip's error report"""
        return cast(ErrReport, self._ask(SERVICES[34], None, timeout))

    def get_system(
        self, request: ShellCommand, timeout: float = DEFAULT_TIMEOUT
    ) -> ShellStatus:
        """run a shell command, get its wait status"""
        return cast(ShellStatus, self._ask(SERVICES[35], request, timeout))

    def get_popen(
        self, request: ShellCommand, timeout: float = DEFAULT_TIMEOUT
    ) -> ShellOutput:
        """run a shell command, get its output"""
        return cast(ShellOutput, self._ask(SERVICES[36], request, timeout))

    def set_log_profile(
        self, request: LogProfileRequest, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """set the daemon's log level"""
        self._tell(SERVICES[37], request, timeout)

    def get_log_profile(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> LogProfile:
        """log profile; this chip has none"""
        return cast(LogProfile, self._ask(SERVICES[38], None, timeout))

    def get_soc_min_ver(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> SocMinVersion:
        """minimum version of the main processor's software"""
        return cast(SocMinVersion, self._ask(SERVICES[39], None, timeout))

    def set_uart_switch(
        self, request: Value, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """switch the UART"""
        self._tell(SERVICES[40], request, timeout)

    def set_wakeup_info(
        self, request: WakeupInfo, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """set the wake-up information"""
        self._tell(SERVICES[41], request, timeout)

    def get_status_info(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> StatusInfo:
        """status information"""
        return cast(StatusInfo, self._ask(SERVICES[42], None, timeout))

    def set_charge_auto_poweron(
        self, request: ChargeAutoPoweron, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """set the power-on while charging"""
        self._tell(SERVICES[43], request, timeout)

    def set_cmd(
        self, request: RawCommand, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """send the chip a raw command"""
        self._tell(SERVICES[44], request, timeout)

    def set_tamper_info(
        self, request: Value, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """switch the tamper detection"""
        self._tell(SERVICES[45], request, timeout)

    def get_config_info(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> ConfigInfo:
        """configuration information"""
        return cast(ConfigInfo, self._ask(SERVICES[46], None, timeout))

    def get_bit_err_rate(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> BitErrRate:
        """bit error rate; this chip has none"""
        return cast(BitErrRate, self._ask(SERVICES[47], None, timeout))

    def get_socup_time(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> SocupTime:
        """wake-up times, and the time since the snapshot"""
        return cast(SocupTime, self._ask(SERVICES[48], None, timeout))

    def get_wifi_extended_status(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> WifiExtendedStatus:
        """extended state of the Wi-Fi link"""
        return cast(WifiExtendedStatus, self._ask(SERVICES[49], None, timeout))

    def set_soc_time_info(
        self, request: SocTimeInfo, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """set a power-on time of the main processor"""
        self._tell(SERVICES[50], request, timeout)

    def get_soc_time_list(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> SocTimeList:
        """power-on times of the main processor"""
        return cast(SocTimeList, self._ask(SERVICES[51], None, timeout))

    def get_soc_time_cur_info(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> SocTimeCur:
        """current power-on time of the main processor"""
        return cast(SocTimeCur, self._ask(SERVICES[52], None, timeout))


class AsyncServices:
    """One method a service. Times are in seconds."""

    async def _ask(self, service: Service, request: Any, timeout: float) -> Any:
        raise NotImplementedError

    async def _tell(self, service: Service, request: Any, timeout: float) -> None:
        raise NotImplementedError

    async def get_ver(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> Version:
        """firmware version of the chip"""
        return cast(Version, await self._ask(SERVICES[0], None, timeout))

    async def get_wakeup_info(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> WakeupInfo:
        """why and when the main processor was woken"""
        return cast(WakeupInfo, await self._ask(SERVICES[1], None, timeout))

    async def get_allwakeup_info(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> WakeupContext:
        """the start-up snapshot"""
        return cast(WakeupContext, await self._ask(SERVICES[2], None, timeout))

    async def set_time(
        self, request: Time, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """set the chip's clock"""
        await self._tell(SERVICES[3], request, timeout)

    async def get_time(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> Time:
        """the chip's clock"""
        return cast(Time, await self._ask(SERVICES[4], None, timeout))

    async def set_led(
        self, request: Value, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """set the LED state"""
        await self._tell(SERVICES[5], request, timeout)

    async def get_battery_status(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> BatteryStatus:
        """battery status"""
        return cast(BatteryStatus, await self._ask(SERVICES[6], None, timeout))

    async def set_pir_switch(
        self, request: Value, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """switch the motion sensor"""
        await self._tell(SERVICES[7], request, timeout)

    async def set_pir_sensitivity(
        self, request: Value, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """set the motion sensor's sensitivity"""
        await self._tell(SERVICES[8], request, timeout)

    async def get_pir_info(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> PirInfo:
        """motion sensor settings"""
        return cast(PirInfo, await self._ask(SERVICES[9], None, timeout))

    async def set_pir_info(
        self, request: PirInfo, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """set the motion sensor settings"""
        await self._tell(SERVICES[10], request, timeout)

    async def set_wifi_connect(
        self, request: WifiConnect, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """connect the Wi-Fi link"""
        await self._tell(SERVICES[11], request, timeout)

    async def set_wifi_disconnect(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """disconnect the Wi-Fi link"""
        await self._tell(SERVICES[12], None, timeout)

    async def get_wifi_status(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> WifiStatus:
        """state of the Wi-Fi link"""
        return cast(WifiStatus, await self._ask(SERVICES[13], None, timeout))

    async def get_wifi_info(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> WifiInfo:
        """network settings of wlan0 as the daemon knows them"""
        return cast(WifiInfo, await self._ask(SERVICES[14], None, timeout))

    async def set_wifi_keepalive(
        self, request: WifiKeepalive, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """set the Wi-Fi keep-alive"""
        await self._tell(SERVICES[15], request, timeout)

    async def set_wifi_extended_info(
        self, request: WifiExtendedInfo, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """set the extended Wi-Fi information"""
        await self._tell(SERVICES[16], request, timeout)

    async def get_wifi_scanf_info(
        self, request: Selector, timeout: float = DEFAULT_TIMEOUT
    ) -> WifiScanfInfo:
        """Wi-Fi scan information"""
        return cast(WifiScanfInfo, await self._ask(SERVICES[17], request, timeout))

    async def set_system_state(
        self, request: Value, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """tell the chip the system's state"""
        await self._tell(SERVICES[18], request, timeout)

    async def get_event_info(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> EventInfo:
        """take the oldest event off the event queue"""
        return cast(EventInfo, await self._ask(SERVICES[19], None, timeout))

    async def upg_start(
        self, request: UpgStart, timeout: float = DEFAULT_TIMEOUT
    ) -> ZeroWord:
        """begin a firmware upgrade"""
        return cast(ZeroWord, await self._ask(SERVICES[20], request, timeout))

    async def upg_transmit(
        self, request: UpgBlock, timeout: float = DEFAULT_TIMEOUT
    ) -> ZeroWord:
        """send one block of the image"""
        return cast(ZeroWord, await self._ask(SERVICES[21], request, timeout))

    async def upg_finish(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> ZeroWord:
        """end the firmware upgrade"""
        return cast(ZeroWord, await self._ask(SERVICES[22], None, timeout))

    async def set_store_params(
        self, request: StoreParams, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """store parameters in the chip"""
        await self._tell(SERVICES[23], request, timeout)

    async def get_store_params(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> StoreParams:
        """parameters stored in the chip"""
        return cast(StoreParams, await self._ask(SERVICES[24], None, timeout))

    async def set_wdg_state(
        self, request: Value, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """set the watchdog state"""
        await self._tell(SERVICES[25], request, timeout)

    async def get_wdg_state(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> WdgStateText:
        """watchdog state, its first digit"""
        return cast(WdgStateText, await self._ask(SERVICES[26], None, timeout))

    async def set_wdg_period(
        self, request: WdgPeriod, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """set the watchdog period"""
        await self._tell(SERVICES[27], request, timeout)

    async def set_wdg_feed(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """feed the watchdog"""
        await self._tell(SERVICES[28], None, timeout)

    async def set_alarm(
        self, request: Alarm, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """set the alarm"""
        await self._tell(SERVICES[29], request, timeout)

    async def get_alarm(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> Alarm:
        """the alarm"""
        return cast(Alarm, await self._ask(SERVICES[30], None, timeout))

    async def set_crash_test(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """make the chip crash, as a test"""
        await self._tell(SERVICES[31], None, timeout)

    async def set_ap_start(
        self, request: ApStart, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """start the access point"""
        await self._tell(SERVICES[32], request, timeout)

    async def set_ap_stop(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """stop the access point"""
        await self._tell(SERVICES[33], None, timeout)

    async def get_err_report(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> ErrReport:
        """the chip's error report"""
        return cast(ErrReport, await self._ask(SERVICES[34], None, timeout))

    async def get_system(
        self, request: ShellCommand, timeout: float = DEFAULT_TIMEOUT
    ) -> ShellStatus:
        """run a shell command, get its wait status"""
        return cast(ShellStatus, await self._ask(SERVICES[35], request, timeout))

    async def get_popen(
        self, request: ShellCommand, timeout: float = DEFAULT_TIMEOUT
    ) -> ShellOutput:
        """run a shell command, get its output"""
        return cast(ShellOutput, await self._ask(SERVICES[36], request, timeout))

    async def set_log_profile(
        self, request: LogProfileRequest, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """set the daemon's log level"""
        await self._tell(SERVICES[37], request, timeout)

    async def get_log_profile(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> LogProfile:
        """log profile; this chip has none"""
        return cast(LogProfile, await self._ask(SERVICES[38], None, timeout))

    async def get_soc_min_ver(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> SocMinVersion:
        """minimum version of the main processor's software"""
        return cast(SocMinVersion, await self._ask(SERVICES[39], None, timeout))

    async def set_uart_switch(
        self, request: Value, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """switch the UART"""
        await self._tell(SERVICES[40], request, timeout)

    async def set_wakeup_info(
        self, request: WakeupInfo, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """set the wake-up information"""
        await self._tell(SERVICES[41], request, timeout)

    async def get_status_info(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> StatusInfo:
        """status information"""
        return cast(StatusInfo, await self._ask(SERVICES[42], None, timeout))

    async def set_charge_auto_poweron(
        self, request: ChargeAutoPoweron, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """set the power-on while charging"""
        await self._tell(SERVICES[43], request, timeout)

    async def set_cmd(
        self, request: RawCommand, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """send the chip a raw command"""
        await self._tell(SERVICES[44], request, timeout)

    async def set_tamper_info(
        self, request: Value, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """switch the tamper detection"""
        await self._tell(SERVICES[45], request, timeout)

    async def get_config_info(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> ConfigInfo:
        """configuration information"""
        return cast(ConfigInfo, await self._ask(SERVICES[46], None, timeout))

    async def get_bit_err_rate(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> BitErrRate:
        """bit error rate; this chip has none"""
        return cast(BitErrRate, await self._ask(SERVICES[47], None, timeout))

    async def get_socup_time(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> SocupTime:
        """wake-up times, and the time since the snapshot"""
        return cast(SocupTime, await self._ask(SERVICES[48], None, timeout))

    async def get_wifi_extended_status(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> WifiExtendedStatus:
        """extended state of the Wi-Fi link"""
        return cast(WifiExtendedStatus, await self._ask(SERVICES[49], None, timeout))

    async def set_soc_time_info(
        self, request: SocTimeInfo, timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """set a power-on time of the main processor"""
        await self._tell(SERVICES[50], request, timeout)

    async def get_soc_time_list(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> SocTimeList:
        """power-on times of the main processor"""
        return cast(SocTimeList, await self._ask(SERVICES[51], None, timeout))

    async def get_soc_time_cur_info(
        self, timeout: float = DEFAULT_TIMEOUT
    ) -> SocTimeCur:
        """current power-on time of the main processor"""
        return cast(SocTimeCur, await self._ask(SERVICES[52], None, timeout))
