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
from inspect_binaries import LAUNCHER, LIBLOGGER, PROGRAMS, SETTINGS

LAUNCHERCTL = PROGRAMS + "launcherctl"

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


def in_image(place, form, *values):
    """A change of numbers somewhere."""

    def change(image):
        changed = bytearray(image)
        struct.pack_into(form, changed, place, *values)
        return bytes(changed)

    return change


def in_command(number, place, form, *values):
    """A change of numbers in a load command."""
    return lambda image: in_image(command_at(image, number) + place, form, *values)(image)


def in_segment(name, place, form, value):
    """A change of one number in the load command of a segment."""

    def change(image):
        at, commands = 32, macho.Image(image).commands
        for number, content in commands:
            if number == macho.LC_SEGMENT_64 and content[8:24].rstrip(b"\0") == name:
                return in_image(at + place, form, value)(image)
            at += len(content)
        raise AssertionError(f"no segment {name}")

    return change


def in_flags(number):
    """A change of the flags in the header: those in `number` become the opposite."""
    return lambda image: in_image(24, "<I", macho.Image(image).flags ^ number)(image)


def emptied(section):
    """A change that fills a section of __TEXT with NULs."""

    def change(image):
        _, content = macho.Image(image).section("__TEXT", section)
        assert image.count(content) == 1
        return image.replace(content, bytes(len(content)))

    return change


def with_flag(symbol, flag):
    """A change of how a symbol is imported: the byte before its name."""
    return replace(b"\x40" + symbol + b"\0", bytes([0x40 | flag]) + symbol + b"\0")


def with_local_symbol_as_external(image):
    """A change of the symbol table: the first symbol that is defined and local is there for everybody."""
    symbols, count = struct.unpack_from("<2I", image, command_at(image, macho.LC_SYMTAB) + 8)
    for at in range(symbols, symbols + 16 * count, 16):
        if image[at + 4] == 0x0E:  # In a section, and local.
            return in_image(at + 4, "<B", 0x0F)(image)
    raise AssertionError("no local symbol")


def with_export(name):
    """A change of what a program exports: its header, and `name` at the same address."""

    def change(image):
        header = b"__mh_execute_header\0"
        leaf = b"\x02\x00\x00\x00"  # Two bytes, which are flags and an address; nothing behind it.
        first = 2 + len(header) + 1 + len(name) + 2
        trie = bytes([0, 2]) + header + bytes([first]) + name + b"\0" + bytes([first + len(leaf)]) + 2 * leaf
        info = command_at(image, 0x80000022)
        room = 32 + struct.unpack_from("<I", image, 20)[0]  # Behind the load commands there is some.
        assert not image[room : room + len(trie)].strip(b"\0")
        changed = image[:room] + trie + image[room + len(trie) :]
        return in_image(info + 40, "<2I", room, len(trie))(changed)

    return change


def bound_at_first_use(image):
    """A change that has an image bind at its first use what it binds at load."""
    info = command_at(image, 0x80000022)
    return in_image(info + 32, "<2I", *struct.unpack_from("<2I", image, info + 16))(image)


def resigned(change):
    """The change, with a signature that fits it."""
    return lambda image: macho.signed_anew(change(image))


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
    (LIBLOGGER, replace(b"@rpath/liblogger.dylib", b"/usr/lib/liblogger.dyl"), "name and versions of the library"),
    (LIBLOGGER, in_command(macho.LC_ID_DYLIB, 20, "<I", 7 << 16), "name and versions of the library"),
    (LIBLOGGER, in_command(macho.LC_BUILD_VERSION, 12, "<I", 10 << 16), "minimum version: ['10.0']"),
    (LIBLOGGER, replace(b"InitLogger\0", b"InitLoggex\0"), "exports: ['_GetLogger', '_InitLoggex']"),
    (LIBLOGGER, flip_bit(0x1000), "the hashes of 1 of"),
    (LIBLOGGER, replace(b"/usr/lib/libSystem.B.dylib", b"/opt/lib/libSystem.B.dylib"), "libraries"),
    # Signed anew, as by somebody who made it so.
    *(
        (relative, resigned(change), message)
        for relative, change, message in [
            (LAUNCHER, replace(b"_getpwuid\0", b"_getpwnam\0"), "(tools/macos/imports): ['_getpwnam']"),
            (LAUNCHER, with_flag(b"_waitpid", 1), "imports that may be missing: ['_waitpid']"),
            (LAUNCHER, bound_at_first_use, "bound at their first use"),
            (LAUNCHER, emptied("__unwind_info"), "unwinding information of version 0"),
            (LAUNCHER, emptied("__gcc_except_tab"), "tables of exceptions are damaged"),
            (LIBLOGGER, emptied("__unwind_info"), "unwinding information of version 0"),
            (LIBLOGGER, emptied("__gcc_except_tab"), "tables of exceptions are damaged"),
            (LAUNCHER, replace(b"__unwind_info\0", b"__unwind_inf_\0"), "the sections for unwinding are not all there"),
            (LAUNCHER, in_command(macho.LC_LOAD_DYLIB, 0, "<I", 0x80000018), "liblogger.dylib weakly"),
            (LAUNCHER, in_command(macho.LC_LOAD_DYLIB, 0, "<I", 0x8000001F), "liblogger.dylib as a re-export"),
            (LIBLOGGER, in_command(macho.LC_LOAD_DYLIB, 0, "<I", 0x80000018), "libSystem.B.dylib weakly"),
            (LAUNCHER, in_flags(macho.MH_PIE), "can be anywhere in memory: False"),
            (LAUNCHER, in_flags(macho.MH_TWOLEVEL), "looks imports up by library: False"),
            (LAUNCHER, in_flags(macho.MH_ALLOW_STACK_EXECUTION), "executes its stack: True"),
            (LAUNCHER, in_segment(b"__TEXT", 60, "<I", 7), "__TEXT can be written and executed"),
            (LAUNCHER, in_segment(b"__DATA", 56, "<I", 7), "__DATA can be written and executed"),
            (LAUNCHER, in_segment(b"__PAGEZERO", 32, "<Q", 0x1000), "pages at the address 0: [(0, 4096, 0)]"),
            (LAUNCHER, in_segment(b"__PAGEZERO", 60, "<I", 1), "pages at the address 0: [(0, 4294967296, 1)]"),
            (LAUNCHER, in_command(macho.LC_MAIN, 0, "<I", 0x7F), "a main function: False"),
            (LAUNCHER, replace(b"/usr/lib/dyld\0", b"/usr/lib/dyle\0"), "loaders: ['/usr/lib/dyle']"),
            (LAUNCHER, in_command(macho.LC_BUILD_VERSION, 16, "<I", 10 << 16 | 8 << 8), "the SDK 10.8, which is"),
            (LIBLOGGER, in_command(macho.LC_BUILD_VERSION, 16, "<I", 0), "the SDK 0.0, which is too old"),
            (LAUNCHER, in_command(macho.LC_UUID, 8, "<2Q", 0, 0), "it has no UUID"),
            (LIBLOGGER, in_command(macho.LC_UUID, 8, "<2Q", 0, 0), "it has no UUID"),
            (LIBLOGGER, in_command(macho.LC_ID_DYLIB, 16, "<I", 7 << 16), "'7.0', '1.0')"),
            (LAUNCHER, with_export(b"_fork"), "exports: ['__mh_execute_header', '_fork']"),
            (LAUNCHER, with_local_symbol_as_external, "external symbols: ["),
            (LIBLOGGER, with_local_symbol_as_external, "external symbols: ["),
            (LAUNCHERCTL, with_export(b"_fork"), "exports: ['__mh_execute_header', '_fork']"),
            (LAUNCHERCTL, in_flags(macho.MH_PIE), "can be anywhere in memory: False"),
            (LAUNCHERCTL, emptied("__gcc_except_tab"), "tables of exceptions are damaged"),
            (LAUNCHER, replace(b"__info_plist\0", b"__info_plis_\0"), "no property list"),
            (LAUNCHER, replace(b"com.pellux.launcher<", b"com.pellux.laundry <"), "identifier in the property list"),
            (LAUNCHER, replace(b"<key>CFBundleVersion", b"<key>CFBundleVersiom"), "versions in the property list"),
            (LAUNCHER, replace(b"Pellux launcher<", b"Pellux laundry <"), "name in the property list"),
            (LAUNCHER, replace(b"</plist>", b"<plist/>"), "no element found"),
        ]
    ),
]


class SpoiltBundle(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.expected = inspect_binaries.Expected(macho.StubLibraries(SDK), LIST)

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
        return list(inspect_binaries.bundle_faults(self.path("bundle"), self.expected))

    def faults_of_symbols(self):
        programs = self.expected.programs
        return list(inspect_binaries.symbols_faults(self.path("bundle"), self.path("symbols"), programs))

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
                    faults = list(inspect_binaries.file_faults(self.path("bundle"), relative, self.expected))
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

    def test_variant_of_the_processor_that_only_the_system_uses_is_found(self):
        for architecture, variant in (("arm64", 2), ("x86_64", 8)):
            with self.subTest(architecture=architecture):
                self.copy()
                self.change_image(self.in_bundle(LAUNCHER), architecture, resigned(in_image(8, "<I", variant)))
                self.assert_fault("slice", self.faults())  # In the image alone.
                cpu = {value: key for key, value in macho.ARCHITECTURES.items()}[architecture]
                with open(self.in_bundle(LAUNCHER), "r+b") as file:
                    at = file.read().index(struct.pack(">I", cpu))
                    file.seek(at + 4)
                    file.write(struct.pack(">I", variant))
                self.assert_fault(f"variant of the processor: {variant}", self.faults())

    def test_bytes_outside_of_the_slices_are_found(self):
        with open(self.in_bundle(LAUNCHER), "ab") as file:
            file.write(b"\0")
        self.assert_fault("1 bytes behind the last slice", self.faults())
        self.copy()
        with open(self.in_bundle(LAUNCHER), "r+b") as file:
            file.seek(0x800)
            self.assertEqual(file.read(1), b"\0")
            file.seek(0x800)
            file.write(b"x")
        self.assert_fault("bytes before slice 0 belong to none", self.faults())

    def test_settings_file_that_is_empty_or_names_another_is_found(self):
        for content in (b"", b"[SDK]\nNAME=Other\n"):
            with open(self.in_bundle(SETTINGS), "wb") as file:
                file.write(content)
            self.assert_fault(f"{SETTINGS}: {content!r} instead of", self.faults())
        self.copy()
        os.rename(self.in_bundle(SETTINGS), self.in_bundle(SETTINGS) + "2")
        self.assert_fault(SETTINGS, self.faults())

    def test_folder_too_many_empty_or_in_another_place_is_found(self):
        for path in ("Contents/Library", "Contents/MacOS/helpers", "new"):
            self.copy()
            os.mkdir(self.in_bundle(path))
            self.assert_fault(f"too much in the bundle: ['{path}']", self.faults())
        self.copy()
        os.rename(self.in_bundle("Contents/Frameworks"), self.path("elsewhere"))
        os.mkdir(self.in_bundle("Contents/Frameworks"))
        self.assert_fault(f"missing: ['{LIBLOGGER}']", self.faults())
        self.copy()
        os.rename(self.in_bundle("Contents/Frameworks"), self.path("elsewhere2"))
        os.symlink(self.path("elsewhere2"), self.in_bundle("Contents/Frameworks"))
        self.assert_fault("Contents/Frameworks: not a folder", self.faults())

    def test_link_in_the_place_of_a_file_is_found(self):
        for relative in (LAUNCHER, LIBLOGGER, SETTINGS):
            self.copy()
            os.rename(self.in_bundle(relative), self.path("elsewhere"))
            os.symlink(self.path("elsewhere"), self.in_bundle(relative))
            self.assert_fault(f"{relative}: not a file", self.faults())

    def test_dangerous_modes_are_found(self):
        for path, mode in (
            (LAUNCHER, 0o4755),
            (LAUNCHER, 0o2755),
            (LIBLOGGER, 0o757),
            (SETTINGS, 0o646),
            ("Contents/MacOS", 0o757),
            ("", 0o757),
        ):
            with self.subTest(path=path, mode=mode):
                self.copy()
                os.chmod(self.in_bundle(path), mode)
                self.assert_fault("the mode", self.faults())

    def test_binary_that_may_not_be_executed_is_found(self):
        os.chmod(self.in_bundle(LAUNCHER), 0o644)
        self.assert_fault("not executable", self.faults())

    def test_file_too_many_and_file_too_few_are_found(self):
        with open(self.in_bundle("Contents/MacOS/launcher.orig"), "w", encoding="utf-8"):
            pass
        self.assert_fault("launcher.orig", self.faults())
        self.copy()
        os.remove(self.in_bundle(SETTINGS))
        self.assert_fault(f"missing: ['{SETTINGS}']", self.faults())
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


class MadeUpImage:
    """What a natively built image imports: the system's C++ library is one of its libraries."""

    architecture = "arm64"

    def __init__(self, entries, libraries=(inspect_binaries.SYSTEM, inspect_binaries.SYSTEM_CXX)):
        self.entries, self.loaded = entries, libraries

    def import_entries(self):
        return {(place, symbol, False, False) for place, symbol in self.entries}

    def libraries(self):
        return list(self.loaded)


class NativeBundle(unittest.TestCase):
    """With the system's C++ library `operator new` and `delete` are weak there, so they are looked up everywhere."""

    def faults(self, entries, libraries=(inspect_binaries.SYSTEM, inspect_binaries.SYSTEM_CXX), is_native=True):
        expected = inspect_binaries.Expected(self, LIST, is_native)
        return list(inspect_binaries.import_faults(MadeUpImage(entries, libraries), expected))

    def exports(self, library, _):
        """Takes the place of the SDK's stubs."""
        cxx = {"__Znwm", "__ZdlPv", "__ZNSt1aEv"}
        return {inspect_binaries.SYSTEM: {"_fork"}, inspect_binaries.SYSTEM_CXX: cxx}[library]

    ENTRIES = {(inspect_binaries.SYSTEM, "_fork"), (inspect_binaries.SYSTEM_CXX, "__ZNSt1aEv")}
    EVERYWHERE = macho.SPECIAL_PLACES[-3]

    def test_may_look_new_and_delete_up_everywhere(self):
        self.assertEqual(self.faults(self.ENTRIES | {(self.EVERYWHERE, "__Znwm"), (self.EVERYWHERE, "__ZdlPv")}), [])

    def test_may_look_nothing_else_up_everywhere(self):
        faults = self.faults(self.ENTRIES | {(self.EVERYWHERE, "__ZNSt1aEv"), (self.EVERYWHERE, "__Znwm")})
        self.assertEqual(faults, [f"looked up in {self.EVERYWHERE}: ['__ZNSt1aEv']"])

    def test_without_the_systems_library_may_not_look_new_up_everywhere(self):
        entries = {(inspect_binaries.SYSTEM, "_fork"), (self.EVERYWHERE, "__Znwm")}
        self.assertEqual(
            self.faults(entries, [inspect_binaries.SYSTEM]), [f"looked up in {self.EVERYWHERE}: ['__Znwm']"]
        )

    def test_built_on_linux_may_not_use_the_systems_library(self):
        faults = self.faults(self.ENTRIES, is_native=False)
        self.assertIn("looked up in /usr/lib/libc++.1.dylib: ['__ZNSt1aEv']", faults)


if __name__ == "__main__":
    SDK, SYMBOLS, LIST, BUNDLE = sys.argv[1:5]
    for needed in (SDK, SYMBOLS, BUNDLE):
        if not os.path.isdir(needed):
            print(f"Skipped: there is no {needed}; scripts/macos-build makes it")
            sys.exit(77)
    unittest.main(argv=sys.argv[:1])
