"""A piece of a camera's software: may it record?"""

import quon_mcu


def may_record(client: quon_mcu.Client) -> bool:
    """Only with enough charge, and not when the chip does not say."""
    try:
        battery = client.get_battery_status().bytes
    except quon_mcu.Failed:
        return False
    return battery is not None and battery[0] > 10


def answer_server(ip: str, port: int) -> None:
    """Takes the daemon's connection to the server over and answers its question."""
    with quon_mcu.take_socket(ip, port) as remote:
        remote.settimeout(10.0)
        if remote.recv(100):
            remote.sendall(b"awake\n")
