#!/usr/bin/env python3
"""A peer of the socket layer written apart from it: it sends bytes built here, by the wire
formats, and checks byte for byte what the library sends back. Standard library only.

    netio_peer.py PORT ROWS_FILE KEY_HEX SCENARIO

connects to 127.0.0.1:PORT and plays SCENARIO ("plain", "records" or "other-order") against
the test on the other end. The cipher (GOST 28147-89 in cipher feedback) is written out here
from the substitution rows in ROWS_FILE; KEY_HEX is the connection key as 64 hex digits.
Exits 0 when every check held, 1 with the first mismatch on standard error.
"""
import re
import socket
import struct
import sys

MASK = 0xFFFFFFFF
RECORD_IV = (0x6B2D90E4, 0x1C58F7A3)


class Mismatch(Exception):
    pass


def expect(what, got, wanted):
    if got != wanted:
        raise Mismatch(f"{what}: got {got!r}, wanted {wanted!r}")


class Cipher:
    def __init__(self, rows_file, key_hex):
        text = open(rows_file).read()
        rows = {int(n): [int(v) for v in body.split(",")]
                for n, body in re.findall(r"k(\d)\[16\]\s*=\s*\{([^}]*)\}", text)}
        pair = lambda hi, lo: [(rows[hi][i >> 4] << 4) | rows[lo][i & 15] for i in range(256)]
        self.tables = (pair(2, 1), pair(4, 3), pair(6, 5), pair(8, 7))
        self.key = [int(key_hex[8 * i:8 * i + 8], 16) for i in range(8)]

    def f(self, x):
        t = self.tables
        y = t[0][x & 255] | t[1][(x >> 8) & 255] << 8 | t[2][(x >> 16) & 255] << 16 | t[3][x >> 24] << 24
        return ((y << 11) | (y >> 21)) & MASK

    def encipher(self, n1, n2):
        for r in range(1, 33):
            k = self.key[(r - 1) % 8] if r <= 24 else self.key[32 - r]
            if r % 2:
                n2 ^= self.f((n1 + k) & MASK)
            else:
                n1 ^= self.f((n2 + k) & MASK)
        return n2, n1

    def cfb(self, data, order, decipher):
        """Enciphers or deciphers whole blocks, words read and written in `order`."""
        v, out = RECORD_IV, bytearray()
        for at in range(0, len(data), 8):
            w = struct.unpack(order + "2I", data[at:at + 8])
            g = self.encipher(*v)
            c = (w[0] ^ g[0], w[1] ^ g[1])
            out += struct.pack(order + "2I", *c)
            v = w if decipher else c
        return bytes(out)


def record_size(n):
    return 8 * (((n + 3) >> 3) + 1)


def make_record(cipher, payload, order="<", length=None):
    n = len(payload) if length is None else length
    plain = struct.pack(order + "I", n) + payload
    plain += bytes(record_size(len(payload)) - len(plain))
    return cipher.cfb(plain, order, decipher=False)


def pattern(count, step):
    return bytes((i * step) % 251 for i in range(count))


class Wire:
    def __init__(self, port):
        self.sock = socket.create_connection(("127.0.0.1", port), timeout=20)

    def send(self, data):
        self.sock.sendall(data)

    def receive(self, count):
        data = bytearray()
        while len(data) < count:
            piece = self.sock.recv(count - len(data))
            if not piece:
                raise Mismatch(f"stream ended after {len(data)} of {count} bytes")
            data += piece
        return bytes(data)

    def expect_end(self):
        expect("bytes after the last expected", self.sock.recv(1), b"")


def plain(wire, cipher):
    wire.send(b"hello\nWORLD")
    wire.send(b"abc\n")
    wire.send(struct.pack(">ii", 1, 7))
    wire.send(struct.pack("<if", 1, -2.5))
    wire.send(struct.pack(">If", 1, 0.75))
    wire.send(struct.pack("<I", 0x12345678) + struct.pack(">i", 99))
    expect("putstring_strip", wire.receive(4), b"abc\n")
    expect("putstring", wire.receive(5), b"plain")
    expect("put_int 7", wire.receive(8), bytes.fromhex("0100000007000000"))
    expect("put_int -2", wire.receive(8), bytes.fromhex("01000000feffffff"))
    expect("put_float 1.5", wire.receive(8), struct.pack("<If", 1, 1.5))
    expect("writen", wire.receive(200000), pattern(200000, 7))
    wire.send(pattern(200000, 13))
    wire.send(b"tail")


def records(wire, cipher):
    for size in (1, 4, 5, 12, 13, 70000):
        wire.send(make_record(cipher, pattern(size, 3)))
    wire.send(make_record(cipher, b"0123456789"))
    wire.send(make_record(cipher, b"next"))
    wire.send(make_record(cipher, b"hello world\0"))
    wire.send(make_record(cipher, b"abc\n\0"))
    for size in (1, 4, 5, 12, 13, 70000):
        payload = pattern(size, 5)
        wanted = make_record(cipher, payload)
        got = wire.receive(record_size(size))
        expect(f"record of {size} bytes", got, wanted)
        plain_bytes = cipher.cfb(got, "<", decipher=True)
        expect(f"length word of {size}", struct.unpack("<I", plain_bytes[:4])[0], size)
    for payload in (b"hi\0", b"xy\0", b"\0"):
        expect(f"string record {payload!r}", wire.receive(record_size(len(payload))),
               make_record(cipher, payload))
    wire.send(make_record(cipher, b"", length=0x7FFFFFF4)[:8])


def other_order(wire, cipher):
    wire.send(make_record(cipher, pattern(20, 9), order=">"))


def main():
    port, rows_file, key_hex, scenario = sys.argv[1:5]
    cipher = Cipher(rows_file, key_hex)
    wire = Wire(int(port))
    try:
        {"plain": plain, "records": records, "other-order": other_order}[scenario](wire, cipher)
        wire.sock.shutdown(socket.SHUT_WR)
        wire.expect_end()
    except (Mismatch, OSError) as error:
        print(f"netio_peer {scenario}: {error}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
