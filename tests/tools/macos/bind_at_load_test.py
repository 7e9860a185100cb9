#!/usr/bin/env python3
"""Joins streams of binding instructions."""

import os
import sys
import unittest

sys.dont_write_bytecode = True  # Nothing is to lie beside the sources.
sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../../tools/macos"))

import bind_at_load
import macho

BIND, DONE = b"\x90", b"\x00"


def lazy(segment_offset, library, symbol):
    return bytes([0x72, segment_offset, 0x10 | library]) + b"\x40" + symbol + b"\0" + BIND + DONE


class Joined(unittest.TestCase):
    def test_is_both_streams_with_one_end(self):
        bind = b"\x51\x11\x40_environ\0\x71\x08" + BIND + DONE + bytes(5)
        stream = bind_at_load.joined(bind, lazy(0, 1, b"_fork") + lazy(8, 2, b"_GetLogger") + bytes(3))
        self.assertEqual(
            stream,
            b"\x51\x11\x40_environ\0\x71\x08\x90" + b"\x51\x60\x00"
            b"\x72\x00\x11\x40_fork\0\x90" + b"\x72\x08\x12\x40_GetLogger\0\x90" + b"\0",
        )

    def test_sets_the_type_where_nothing_was_bound_at_load(self):
        self.assertEqual(bind_at_load.joined(b"", lazy(0, 1, b"_a")), b"\x51\x60\x00\x72\x00\x11\x40_a\0\x90\0")

    def test_does_not_take_numbers_for_ends(self):
        # An addend of 0, a far offset, and two numbers behind an instruction.
        bind = b"\x60\x00\x71\x80\x00\xa0\x00\xc0\x00\x00" + DONE
        self.assertTrue(bind_at_load.joined(bind, b"").startswith(bind[:-1] + b"\x51"))

    def test_refuses_what_it_does_not_know(self):
        for stream in (b"\xd0", b"\xf3", b"\x71"):
            with self.subTest(stream=stream), self.assertRaises(macho.Malformed):
                bind_at_load.joined(stream, b"")


if __name__ == "__main__":
    unittest.main()
