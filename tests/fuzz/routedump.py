#!/usr/bin/env python3
"""Writes the IPv4 route dump of the current network namespace to FILE, the batches joined as
recv() returned them, the way the program asks for it: the seeds of fuzz_routes.
  ip netns exec NS tests/fuzz/routedump.py FILE"""
import socket
import struct
import sys

NLMSG_DONE, RTM_GETROUTE = 3, 26
NLM_F_REQUEST, NLM_F_DUMP = 0x1, 0x300

request = struct.pack("=IHHII", 16 + 12, RTM_GETROUTE, NLM_F_REQUEST | NLM_F_DUMP, 1, 0)
request += struct.pack("=BBBBBBBBI", socket.AF_INET, 0, 0, 0, 0, 0, 0, 0, 0)
with socket.socket(socket.AF_NETLINK, socket.SOCK_RAW, socket.NETLINK_ROUTE) as netlink:
    netlink.send(request)
    dump = b""
    while True:
        batch = netlink.recv(1 << 16)
        dump += batch
        # The dump ends with a batch whose last message is NLMSG_DONE.
        offset = 0
        while offset + 16 <= len(batch):
            length, kind = struct.unpack_from("=IH", batch, offset)
            last = kind
            offset += (length + 3) & ~3
        if last == NLMSG_DONE:
            break
with open(sys.argv[1], "wb") as out:
    out.write(dump)
