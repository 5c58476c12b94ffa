"""Floods the client from a lab router: time-exceeded datagrams quoting the traced target from
every source port in random order (or from PORT alone), up to RATE a second, mixed with malformed
and unrelated ICMP. The quoted sequence number is 0: no probe's own.

Run inside a router's namespace: python3 flood.py DESTINATION TARGET SECONDS [RATE [PORT]]
"""

import random
import socket
import struct
import sys
import time


def checksum(data):
    if len(data) % 2:
        data += b"\0"
    total = sum(struct.unpack(f"!{len(data) // 2}H", data))
    total = (total >> 16) + (total & 0xFFFF)
    return ~(total + (total >> 16)) & 0xFFFF


def icmp(kind, payload):
    header = struct.pack("!BBHI", kind, 0, 0, 0)
    return struct.pack("!BBHI", kind, 0, checksum(header + payload), 0) + payload


def quoted(destination, protocol=6, ihl=5, ports=(1, 2), tail=8):
    header = struct.pack("!BBHHHBBH4s4s", 0x40 | ihl, 0, 60, 0, 0, 1, protocol, 0,
                         socket.inet_aton("198.18.1.2"), socket.inet_aton(destination))
    return header + struct.pack("!HH", *ports) + b"\0" * (tail - 4)


def datagrams(target):
    yield icmp(0, b"echo reply")
    yield icmp(3, quoted(target))                     # unreachable, not time exceeded
    yield icmp(11, b"")                               # no quote at all
    yield icmp(11, quoted(target)[:12])               # truncated quoted header
    yield icmp(11, quoted(target, protocol=17))       # quotes UDP
    yield icmp(11, quoted(target, protocol=1))        # quotes ICMP
    # Huge quoted IHL in a short datagram: its "ports" are whatever the listener's buffer held
    # before, possibly a real probe's, so it quotes an address that no probe goes to.
    yield icmp(11, quoted("198.18.99.98", ihl=15, tail=4))


def quoting_the_target(target, port=None):
    # Every port, in random order: each probe's port is quoted before its probe leaves.
    ports = [port] * 1000 if port else list(range(1, 65536))
    random.shuffle(ports)
    return [icmp(11, quoted(target, ports=(port, 80))) for port in ports]


def main():
    destination, target, seconds = sys.argv[1], sys.argv[2], float(sys.argv[3])
    rate = int(sys.argv[4]) if len(sys.argv) > 4 else 30_000
    port = int(sys.argv[5]) if len(sys.argv) > 5 else None
    sender = socket.socket(socket.AF_INET, socket.SOCK_RAW, socket.IPPROTO_ICMP)
    packets = quoting_the_target(target, port) + list(datagrams(target))
    random.shuffle(packets)
    start = time.monotonic()
    sent = 0
    while time.monotonic() < start + seconds:
        for packet in packets:
            sender.sendto(packet, (destination, 0))
            sent += 1
            if sent % 1000 == 0:
                # At most `rate` a second, so that a busy machine still forwards the routers'
                # own answers.
                time.sleep(max(0.0, start + sent / rate - time.monotonic()))
    print(sent)


if __name__ == "__main__":
    main()
