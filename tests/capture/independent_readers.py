#!/usr/bin/env python3
"""independent_readers.py WRITE_CAPTURE: captures as tshark, capinfos, scapy and dpkt read them."""
import os
import struct
import subprocess
import sys
import tempfile

import dpkt
from scapy.utils import RawPcapNgReader

MESSAGES = 115
FRAMES = MESSAGES + 1
SPLIT = 600_000
PART = 262_060  # bytes of a frame that a packet of 262,144 has room for
PACKETS = 2 * MESSAGES + 3
START = 1_700_000_000_123_456_789
TAGS = bytes.fromhex("000c0004766f726c00000000")


def same(what, expected, found):
    if expected != found:
        sys.exit(f"{what}: expected {expected}, found {found}")


def run(*command):
    done = subprocess.run(command, capture_output=True, text=True)
    if done.returncode != 0:
        sys.exit(f"{command}: {done.stderr}")
    return done.stdout


def frame_header(packet):
    """The members of a frame's header, or None for a description."""
    same("the tags", TAGS, packet[:12])
    magic, version, kind, length = struct.unpack_from("<4sBBH", packet, 12)
    same("magic and version", (b"VORL", 1), (magic, version))
    if kind == 2:
        return None
    same("kind and length", (1, 72), (kind, length))
    names = ("direction known process thread destination handle identifier result length kept number part_at index "
             "of_send").split()
    return dict(zip(names, struct.unpack_from("<BB2xIIIQIIIIQIII", packet, 20)))


def check_packets(reader, packets, longest=262_144):
    """Packets are those of write_capture, bytes and all, as far as the reader gives them."""
    frames = [(p, h) for p, h in ((p, frame_header(p)) for p in packets) if h is not None]
    same(f"{reader}: packets", PACKETS, len(packets))
    same(f"{reader}: packets of frames", MESSAGES + 3, len(frames))
    same(f"{reader}: longest packet", longest, max(map(len, packets)))
    for i, (packet, head) in enumerate(frames[:MESSAGES]):
        same(f"{reader}: members of frame {i}", (1 + i % 2, 4711, 4712, 7, i),
             tuple(head[m] for m in ("direction", "process", "thread", "destination", "number")))
        same(f"{reader}: bytes of frame {i}", head["length"], len(packet) - 84)
    split = frames[MESSAGES:]
    same(f"{reader}: parts", [0, PART, 2 * PART], [head["part_at"] for _, head in split])
    whole = bytes((i * 7 + i // 251) % 256 for i in range(SPLIT))
    for packet, head in split:
        at = head["part_at"]
        same(f"{reader}: the split frame at {at}", whole[at : at + min(PART, longest - 84)], packet[84:])


def main():
    with tempfile.TemporaryDirectory() as directory:
        path = os.path.join(directory, "capture.pcapng")
        with open(path, "wb") as file:
            same("status of write_capture", 0, subprocess.run(sys.argv[1:2], stdout=file).returncode)

        text = run("tshark", "-r", path, "-T", "fields", "-e", "frame.time_epoch", "-e", "frame.packet_flags_direction",
                   "-e", "frame.interface_name", "-e", "frame.packet_id", "-e", "exported_pdu.prot_name")
        rows = [line.split("\t") for line in text.splitlines()]
        same("tshark: packets", PACKETS, len(rows))
        for i in range(MESSAGES):
            time, direction, name, identifier, dissector = rows[2 * i + 1]
            same(f"tshark: frame {i}", (f"1700000000.{123456789 + i:09d}", "process 4711", str(2 * i + 1), "vorl"),
                 (time, name, identifier, dissector))
            same(f"tshark: direction of frame {i}", (2, 1)[i % 2], int(direction, 0))
        same("tshark: identifiers of the split frame", 1, len({row[3] for row in rows[-3:]}))

        info = run("capinfos", "-M", path)
        for line in ("Number of packets:   233", "File encapsulation:  wireshark-upper-pdu", "nanoseconds (9)",
                     "Name = process 4711", "Description = router --daemon", "Capture application: vorl test",
                     "Number of stat entries = 1", "Strict time order: True"):
            if " ".join(line.split()) not in " ".join(info.split()):
                sys.exit(f"capinfos does not say '{line}':\n{info}")

        check_packets("scapy", [packet for packet, _ in RawPcapNgReader(path)], 65_535)
        with open(path, "rb") as file:
            timed = list(dpkt.pcapng.Reader(file))
        check_packets("dpkt", [packet for _, packet in timed])
        same("dpkt: time of the first frame, in microseconds", START // 1000, int(timed[1][0] * 1_000_000))


main()
