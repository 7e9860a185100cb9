#!/usr/bin/env python3
"""Spoils copies of the bundle for macOS, in one way and for one architecture at a time, and has each inspected.

    inspect_binaries_test.py SDK SYMBOLS LIST BUNDLE

Exit status: 0 when every fault was found, 1 when one was not, 77 when there is no bundle to spoil.
"""

import os
import pathlib
import shutil
import struct
import sys
import tempfile
import unittest

TOOLS = pathlib.Path(__file__).resolve().parents[3] / "tools" / "macos"
sys.path.insert(0, str(TOOLS))
sys.dont_write_bytecode = True  # Nothing is to lie beside the sources.

import inspect_binaries
import macho
from inspect_binaries import LAUNCHER, LIBLOGGER, SETTINGS

SDK = SYMBOLS = LIST = BUNDLE = None


def replace(old, new):
    """A change that puts `new` into the place of every `old`, filled up with NULs to its length."""

    def change(image):
        assert old in image, old
        return image.replace(old, new.ljust(len(old), b"\0"))

    return change


def command_at(image, number):
    """Where in the image the load command begins."""
    offset = 32
    for found, content in macho.Image(image).commands:
        if found == number:
            return offset
        offset += len(content)
    raise AssertionError(f"no load command {number:#x}")


def in_command(number, place, form, value):
    """A change of one number in a load command."""

    def change(image):
        changed = bytearray(image)
        struct.pack_into(form, changed, command_at(image, number) + place, value)
        return bytes(changed)

    return change


def in_code_directory(place, form, value):
    """A change of one number in the only part of the signature."""

    def change(image):
        (signature,) = struct.unpack_from("<I", image, command_at(image, macho.LC_CODE_SIGNATURE) + 8)
        (directory,) = struct.unpack_from(">I", image, signature + 16)
        changed = bytearray(image)
        struct.pack_into(form, changed, signature + directory + place, value)
        return bytes(changed)

    return change


def flip_bit(offset):
    return lambda image: image[:offset] + bytes([image[offset] ^ 1]) + image[offset + 1 :]


def without_library_of(symbol):
    """A change that has an import looked up in every image: its place is the byte before the name."""

    def change(image):
        in_first_library_behind_liblogger, in_every_image = b"\x12\x40", b"\x3e\x40"
        old = in_first_library_behind_liblogger + symbol + b"\0"
        assert old in image, symbol
        return image.replace(old, in_every_image + symbol + b"\0")

    return change


IMAGE_ROWS = [
    # file, change, what the inspection says
    (LAUNCHER, replace(b"@executable_path/../Frameworks", b"@executable_path/../Libraries"), "run paths"),
    (LAUNCHER, replace(b"@executable_path/../Frameworks", b"/Applications"), "run paths"),
    (LAUNCHER, in_command(macho.LC_BUILD_VERSION, 12, "<I", 12 << 16), "minimum version: ['12.0']"),
    (LAUNCHER, in_command(macho.LC_BUILD_VERSION, 8, "<I", 2), "minimum version: ['platform 2']"),
    (LAUNCHER, flip_bit(0x2000), "the hashes of 1 of"),
    (LAUNCHER, flip_bit(12), "kind"),
    (LAUNCHER, in_code_directory(12, ">I", 0), "not an ad-hoc one"),
    (LAUNCHER, in_code_directory(32, ">I", 0x1000), "the signature covers 0x1000 bytes"),
    (LAUNCHER, in_code_directory(28, ">I", 1), "the signature has 1 pages"),
    (LAUNCHER, in_code_directory(80, ">Q", 0), "does not know that this is a program"),
    (LAUNCHER, in_command(macho.LC_CODE_SIGNATURE, 0, "<I", 0x26), "0 signatures"),
    (LAUNCHER, replace(b"_mh_execute_header", b"_mh_execute_heade2"), "exports"),
    (LAUNCHER, replace(b"_GetLogger\0", b"_GetLoggex\0"), "imports from liblogger: ['_GetLoggex', '_InitLogger']"),
    (LAUNCHER, replace(b"@rpath/liblogger.dylib", b"@rpath/libother.dylib"), "libraries"),
    (LAUNCHER, replace(b"/usr/lib/libSystem.B.dylib", b"/usr/lib/libz.1.dylib"), "looked up in /usr/lib/libz.1.dylib"),
    (LAUNCHER, replace(b"_getpwuid\0", b"_getpwuix\0"), "not in the SDK's /usr/lib/libSystem.B.dylib: ['_getpwuix']"),
    (LAUNCHER, without_library_of(b"_fork"), "looked up in every image: ['_fork']"),
    (LAUNCHER, replace(b"/Library/Application Support", b"/home/someone/build/main.o"), "a path of the machine"),
    (LAUNCHER, replace(b"/Library/Application Support", b"/somewhere/main.cpp"), "a path of the machine"),
    (LIBLOGGER, replace(b"@rpath/liblogger.dylib", b"/usr/lib/liblogger.dyl"), "name of the library"),
    (LIBLOGGER, in_command(macho.LC_ID_DYLIB, 20, "<I", 7 << 16), "name of the library"),
    (LIBLOGGER, in_command(macho.LC_BUILD_VERSION, 12, "<I", 10 << 16), "minimum version: ['10.0']"),
    (LIBLOGGER, replace(b"InitLogger\0", b"InitLoggex\0"), "exports: ['_GetLogger', '_InitLoggex']"),
    (LIBLOGGER, flip_bit(0x1000), "the hashes of 1 of"),
    (LIBLOGGER, replace(b"/usr/lib/libSystem.B.dylib", b"/opt/lib/libSystem.B.dylib"), "libraries"),
]


class SpoiltBundle(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.stubs = macho.StubLibraries(SDK)
        cls.programs = inspect_binaries.programs_in_list(LIST)

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.copy()

    def copy(self):
        shutil.rmtree(self.path(""), ignore_errors=True)
        shutil.copytree(BUNDLE, self.path("bundle"))
        shutil.copytree(SYMBOLS, self.path("symbols"))

    def path(self, relative):
        return os.path.join(self.folder.name, "copy", relative)

    def in_bundle(self, relative):
        return self.path(os.path.join("bundle", relative))

    def change_image(self, path, architecture, change):
        with open(path, "rb") as file:
            data = file.read()
        image = macho.slices(data)[architecture].data
        changed = change(image)
        self.assertEqual(len(changed), len(image))
        self.assertNotEqual(changed, image)
        start = data.index(image)
        with open(path, "wb") as file:
            file.write(data[:start] + changed + data[start + len(image) :])

    def faults(self):
        return list(inspect_binaries.bundle_faults(self.path("bundle"), self.stubs, self.programs))

    def faults_of_symbols(self):
        return list(inspect_binaries.symbols_faults(self.path("bundle"), self.path("symbols"), self.programs))

    def assert_fault(self, part, faults):
        self.assertTrue(any(part in fault for fault in faults), f"{part!r} is not in {faults}")

    def test_copy_without_a_change_has_no_fault(self):
        self.assertEqual(self.faults() + self.faults_of_symbols(), [])

    def test_each_change_is_found_in_each_architecture(self):
        for relative, change, message in IMAGE_ROWS:
            for architecture in ("arm64", "x86_64"):
                with self.subTest(relative=relative, architecture=architecture, message=message):
                    self.copy()
                    self.change_image(self.in_bundle(relative), architecture, change)
                    faults = self.faults()
                    self.assert_fault(message, faults)
                    other = {"arm64": "(x86_64)", "x86_64": "(arm64)"}[architecture]
                    self.assertFalse(any(other in fault for fault in faults), faults)

    def test_binary_of_one_architecture_is_found(self):
        with open(self.in_bundle(LAUNCHER), "rb") as file:
            image = macho.slices(file.read())["arm64"].data
        with open(self.in_bundle(LAUNCHER), "wb") as file:
            file.write(image)
        self.assert_fault("architectures ['arm64'] instead of", self.faults())

    def test_file_that_is_cut_off_anywhere_is_found(self):
        with open(self.in_bundle(LIBLOGGER), "rb") as file:
            data = file.read()
        for length in (0, 3, 20, 48, 5000, len(data) // 2, len(data) - 1):
            with open(self.in_bundle(LIBLOGGER), "wb") as file:
                file.write(data[:length])
            with self.subTest(length=length):
                self.assert_fault(LIBLOGGER, self.faults())

    def test_binary_that_may_not_be_executed_is_found(self):
        os.chmod(self.in_bundle(LAUNCHER), 0o644)
        self.assert_fault("not executable", self.faults())

    def test_file_too_many_and_file_too_few_are_found(self):
        with open(self.in_bundle("Contents/MacOS/launcher.orig"), "w", encoding="utf-8"):
            pass
        self.assert_fault("launcher.orig", self.faults())
        self.copy()
        os.remove(self.in_bundle(SETTINGS))
        self.assert_fault("files: ", self.faults())
        self.copy()
        os.remove(self.in_bundle(LIBLOGGER))
        self.assert_fault("No such file", self.faults())

    def test_symbols_of_another_build_and_with_paths_are_found(self):
        symbols = self.path("symbols/launcher.dSYM/Contents/Resources/DWARF/launcher")
        self.change_image(symbols, "arm64", in_command(macho.LC_UUID, 8, "<I", 7))
        self.assert_fault("launcher.dSYM: made for another launcher", self.faults_of_symbols())
        self.copy()
        with open(symbols, "ab") as file:
            file.write(b"\0" + os.path.abspath(__file__).encode() + b"\0")
        here = os.path.dirname(os.path.abspath(__file__))
        self.assert_fault("a path of the machine that built it: " + here, self.faults_of_symbols())


if __name__ == "__main__":
    SDK, SYMBOLS, LIST, BUNDLE = sys.argv[1:5]
    for needed in (SDK, SYMBOLS, BUNDLE):
        if not os.path.isdir(needed):
            print(f"Skipped: there is no {needed}; scripts/macos-build makes it")
            sys.exit(77)
    unittest.main(argv=sys.argv[:1])
