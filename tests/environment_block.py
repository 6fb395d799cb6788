#!/usr/bin/env python3
"""A block of boot variables: a CRC-32, little-endian, then name=value entries ended by NULs.

  environment_block.py check FILE                   verifies the CRC, prints the variables
  environment_block.py make FILE SIZE NAME=VALUE... writes a block of SIZE bytes
"""
import sys
import zlib


def check(path):
    with open(path, "rb") as file:
        block = file.read()
    if zlib.crc32(block[4:]) != int.from_bytes(block[:4], "little"):
        sys.exit(path + ": the CRC is wrong")
    entries = block[4:].split(b"\0")
    # A list that fills its block has no empty entry at its end.
    end = entries.index(b"") if b"" in entries else len(entries)
    if any(entries[end:]):
        sys.exit(path + ": something follows the list")
    for entry in entries[:end]:
        print(entry.decode("latin-1"))


def make(path, size, *variables):
    entries = b"".join(variable.encode("latin-1") + b"\0" for variable in variables)
    data = entries.ljust(int(size, 0) - 4, b"\0")
    with open(path, "wb") as file:
        file.write(zlib.crc32(data).to_bytes(4, "little") + data)


{"check": check, "make": make}[sys.argv[1]](*sys.argv[2:])
