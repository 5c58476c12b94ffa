"""Floods the client from a lab router: time-exceeded datagrams quoting the traced target and
PORT, up to RATE a second, mixed with malformed and unrelated ICMP. The quoted sequence number
is 0: no probe's own.

Run inside a router's namespace: python3 flood.py DESTINATION TARGET SECONDS RATE PORT
"""

import random
import socket
import struct
import sys
import time


def icmp(kind, payload):
    data = struct.pack("!BBHI", kind, 0, 0, 0) + payload + b"\0" * (len(payload) % 2)
    total = sum(struct.unpack(f"!{len(data) // 2}H", data))
    total = (total >> 16) + (total & 0xFFFF)
    return struct.pack("!BBHI", kind, 0, ~(total + (total >> 16)) & 0xFFFF, 0) + payload


def quoted(destination, protocol=6, ihl=5, ports=(1, 2), tail=8):
    header = struct.pack("!BBHHHBBH4s4s", 0x40 | ihl, 0, 60, 0, 0, 1, protocol, 0,
                         socket.inet_aton("198.18.1.2"), socket.inet_aton(destination))
    return header + struct.pack("!HH", *ports) + b"\0" * (tail - 4)


def main():
    destination, target, seconds, rate, port = sys.argv[1:6]
    packets = [icmp(11, quoted(target, ports=(int(port), 80)))] * 1000 + [
        icmp(0, b"echo reply"),
        icmp(3, quoted(target)),                      # unreachable, not time exceeded
        icmp(11, b""),                                # no quote at all
        icmp(11, quoted(target)[:12]),                # truncated quoted header
        icmp(11, quoted(target, protocol=17)),        # quotes UDP
        icmp(11, quoted(target, protocol=1)),         # quotes ICMP
        # Huge quoted IHL in a short datagram: its "ports" are whatever the listener's buffer
        # held before, possibly a real probe's, so it quotes an address no probe goes to.
        icmp(11, quoted("198.18.99.98", ihl=15, tail=4)),
    ]
    random.shuffle(packets)
    sender = socket.socket(socket.AF_INET, socket.SOCK_RAW, socket.IPPROTO_ICMP)
    start, sent = time.monotonic(), 0
    while time.monotonic() < start + float(seconds):
        for packet in packets:
            sender.sendto(packet, (destination, 0))
            sent += 1
            if sent % 1000 == 0:
                # At most `rate` a second, so that a busy machine still forwards the routers'
                # own answers.
                time.sleep(max(0.0, start + sent / int(rate) - time.monotonic()))
    print(sent)


if __name__ == "__main__":
    main()
