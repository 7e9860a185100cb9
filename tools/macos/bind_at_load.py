#!/usr/bin/env python3
"""Has the loader bind everything that an image imports before it runs, and nothing at its first use.

    bind_at_load.py FILE

A child between `fork` and `execv` must not wait for the loader's locks, which another thread may have held at the
fork; and a first use is when the loader takes them. The linker that is used on Linux has no option for that. The oldest
systems that we run on know instructions for binding only, in a stream for imports at load and in one for those at first
use: so this moves the latter into the former, in place, and signs the changed pages anew. What has nothing to move
stays as it is.
"""

import struct
import sys

sys.dont_write_bytecode = True  # Nothing is to lie beside the sources.

import macho
from macho import Malformed, Reader

DONE, SET_TYPE_POINTER, SET_ADDEND = 0x00, 0x51, 0x60


def instructions(stream):
    """The instructions of a stream one by one, as bytes, without those that only end it or one import."""
    reader = Reader(stream)
    found = []
    while not reader.at_end():
        begin = reader.offset
        byte = reader.byte()
        kind = byte & 0xF0
        if kind in (0x20, 0x60, 0x70, 0x80, 0xA0):
            reader.uleb()  # For its length, a signed number is the same.
        elif kind == 0x40:
            reader.text()
        elif kind == 0xC0:
            reader.uleb(), reader.uleb()
        elif kind not in (0x00, 0x10, 0x30, 0x50, 0x90, 0xB0):
            raise Malformed(f"binding instruction {byte:#x}")
        if kind != DONE:
            found.append(stream[begin : reader.offset])
    return found


def joined(bind, lazy):
    """One stream that binds at load what both streams do."""
    # What is bound at first use is always a pointer with nothing to add; that is implied there.
    between = [bytes([SET_TYPE_POINTER]), bytes([SET_ADDEND, 0])]
    return b"".join(instructions(bind) + between + instructions(lazy)) + bytes([DONE])


def bound_at_load(data):
    """The image in `data` with nothing left to bind at first use."""
    image = macho.Image(data)
    changed = bytearray(data)
    at = 32
    for number, command in image.commands:
        if number in macho.LC_DYLD_INFO:
            bind, bind_size, weak, weak_size, lazy, lazy_size = struct.unpack_from("<6I", command, 16)
            if not lazy_size:
                continue
            end = lazy + lazy_size
            stream = joined(data[bind : bind + bind_size], data[lazy:end])
            new_weak = -(-(bind + len(stream)) // 8) * 8
            between = [weak, weak + weak_size] if weak_size else []
            if sorted([bind, bind + bind_size, *between, lazy, end]) != [bind, bind + bind_size, *between, lazy, end]:
                raise Malformed("the streams of binding instructions do not lie one behind the other")
            if (new_weak if weak_size else bind + len(stream)) + weak_size > end:
                raise Malformed("there is no room for the binding instructions")
            changed[bind:end] = bytes(end - bind)
            changed[bind : bind + len(stream)] = stream
            changed[new_weak : new_weak + weak_size] = data[weak : weak + weak_size]
            struct.pack_into("<6I", changed, at + 16, bind, len(stream), new_weak if weak_size else 0, weak_size, 0, 0)
        at += len(command)
    return macho.signed_anew(bytes(changed))


def main():
    (path,) = sys.argv[1:]
    with open(path, "r+b") as file:
        data = file.read()
        changed = bound_at_load(data)
        assert len(changed) == len(data)
        file.seek(0)
        file.write(changed)


if __name__ == "__main__":
    main()
