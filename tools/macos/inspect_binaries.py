#!/usr/bin/env python3
"""Inspects the bundle for macOS, architecture by architecture, without running it: on Linux as on a Mac.

    inspect_binaries.py --list FILE [--native] [--sdk FOLDER] [--symbols FOLDER] [--skip-missing] BUNDLE

--list names the bundle.txt of a build folder, which says what programs the bundle has, and in which version. --native
says that the bundle was built on a Mac. --sdk names the folder in which usr/lib/libSystem.tbd lies; without it a Mac's
own tools are asked. --symbols names a folder of debugging symbols, which are inspected for paths of this machine.
Prints each fault as "file (architecture): message". Exit status: 0 without a fault, 1 with one, 2 when there is nothing
to inspect, or 77 then with --skip-missing, which says that this is all right.

What a bundle built on Linux may import from the system stands in imports/, in a list for each architecture and the
oldest version of macOS that it is for: nothing else here knows what those versions have. Add an import there when that
version has it, as the system's headers and manual pages say. On a Mac the compiler knows and warns, so no list is
needed.
"""

import argparse
import os
import plistlib
import re
import stat
import struct
import subprocess
import sys
import tempfile
from xml.parsers.expat import ExpatError

sys.dont_write_bytecode = True  # Nothing is to lie beside the sources.

import macho
import unwinding

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))

MINIMUM_VERSIONS = {"arm64": "11.0", "x86_64": "10.15"}

PROGRAMS = "Contents/MacOS/"
LAUNCHER = PROGRAMS + "launcher"
LIBLOGGER = "Contents/Frameworks/liblogger.dylib"
SETTINGS = "Contents/Resources/qz3api.ini"
IDENTITY = "@rpath/liblogger.dylib"
LOGGER_FUNCTIONS = {"_GetLogger", "_InitLogger"}

SYSTEM, SYSTEM_CXX = "/usr/lib/libSystem.B.dylib", "/usr/lib/libc++.1.dylib"
LOADER = "/usr/lib/dyld"
# The system's C++ library has these weakly, so that a program can replace them: they are looked up everywhere.
REPLACEABLE = ("__Zn", "__Zd")

VERSION_KEYS = ("CFBundleShortVersionString", "CFBundleVersion")

# How reading a file that is not what it should be ends.
UNREADABLE = (OSError, ValueError, LookupError, macho.Malformed, struct.error, ExpatError)

# An absolute path begins where no other part of a path, or of a URL, is before it.
BEGIN = rb"(?<![\w.@~+/:-])"
PATHS_OF_MACHINES = [
    BEGIN + rb"/(?:builds?|home|mnt|opt|private/(?:tmp|var)|root|srv|tmp|Users|Volumes|work\w*)/[ -~]*",
    BEGIN + rb"/[!-9;-~]+\.(?:a|c|cc|cpp|cxx|h|hpp|m|mm|o|zig)(?![\w.])",
]


def paths_of_this_machine(data):
    """The paths in `data` that tell where it was built."""
    own = {ROOT}
    own |= {os.path.expanduser("~"), tempfile.gettempdir()}
    own |= {os.path.realpath(path) for path in own}
    patterns = [re.escape(path.encode()) + rb"[ -~]*" for path in sorted(own) if path.count("/") > 1]
    return sorted({match.decode() for pattern in patterns + PATHS_OF_MACHINES for match in re.findall(pattern, data)})


class Expected:
    """What a bundle is compared with."""

    def __init__(self, stubs, build_list, is_native=False):
        """`build_list` is the path of a build folder's bundle.txt."""
        with open(build_list, encoding="utf-8") as file:
            values = dict(line.rstrip("\n").split("=", 1) for line in file)
        self.programs = [PROGRAMS + name for name in values["programs"].split()]
        self.version = values["version"]
        self.stubs = stubs
        # Built on Linux, every binary has the C++ library as a part of its own; Xcode's tools have the system's only.
        self.is_native = is_native
        self.system_libraries = {SYSTEM, SYSTEM_CXX} if is_native else {SYSTEM}
        with open(os.path.join(ROOT, "packaging/bundle/qz3api.ini"), "rb") as file:
            self.settings = file.read()
        self.imports = {}
        for architecture, version in MINIMUM_VERSIONS.items():
            path = os.path.join(os.path.dirname(os.path.abspath(__file__)), "imports", f"{architecture}-{version}.txt")
            with open(path, encoding="utf-8") as file:
                self.imports[architecture] = {line.strip() for line in file if not line.startswith("#")}


def image_faults(relative, image, expected):
    """What is wrong with one architecture's image of a program or of liblogger."""
    is_program = relative != LIBLOGGER
    exports = {"__mh_execute_header"} if is_program else LOGGER_FUNCTIONS
    rows = [
        ("kind", image.kind, macho.EXECUTABLE if is_program else macho.DYLIB),
        ("variant of the processor", image.variant & 0xFFFFFF, macho.PLAIN_VARIANTS.get(image.architecture)),
        ("minimum version", image.minimum_versions(), [MINIMUM_VERSIONS.get(image.architecture)]),
        ("run paths", image.run_paths(), ["@executable_path/../Frameworks"] if is_program else []),
        ("exports", sorted(image.exports()), sorted(exports)),
        ("external symbols", sorted(image.external_symbols()), sorted(exports)),
        ("loaders", image.loaders(), [LOADER] if is_program else []),
        ("a main function", image.has_command(macho.LC_MAIN), is_program),
        ("settings for the loader", image.has_command(macho.LC_DYLD_ENVIRONMENT), False),
        ("oddly loaded libraries", image.oddly_loaded_libraries(), []),
        ("looks imports up by library", bool(image.flags & macho.MH_TWOLEVEL), True),
        ("can be anywhere in memory", bool(image.flags & macho.MH_PIE), is_program),
        ("executes its stack", bool(image.flags & macho.MH_ALLOW_STACK_EXECUTION), False),
    ]
    for what, found, wanted in rows:
        if found != wanted:
            yield f"{what}: {found} instead of {wanted}"

    identity = image.identity()
    own_version = expected.version.removesuffix(".0")  # As the numbers of Mach-O are written, X.Y, or X.Y.Z.
    if identity != (None if is_program else (IDENTITY, own_version, "1.0")):
        yield f"name and versions of the library: {identity}"
    if len(image.uuid()) != 16 or not image.uuid().strip(b"\0"):
        yield "it has no UUID, by which its debugging symbols are found"
    yield from version_faults(image)
    yield from segment_faults(image, is_program)
    if is_program:
        yield from property_list_faults(os.path.basename(relative), image, expected)
    yield from library_faults(relative, image, expected)
    yield from import_faults(image, expected)
    yield from unwinding.faults(image)
    yield from image.signature_faults()


def version_faults(image):
    """Notarisation refuses what was built with an SDK that is too old, or that is not named."""
    for sdk in image.sdk_versions():
        if sdk < 11 << 16:
            yield f"built with the SDK {macho.version_text(sdk)}, which is too old"


def segment_faults(image, is_program):
    for segment in image.segments():
        for rights in (segment.rights, segment.highest_rights):
            if rights & macho.WRITE and rights & macho.EXECUTE:
                yield f"{segment.name} can be written and executed"
                break
    # Addresses that fit into 32 bits lead nowhere.
    zero_page = [(s.address, s.size, s.rights) for s in image.segments() if s.name == "__PAGEZERO"]
    if zero_page != ([(0, 1 << 32, 0)] if is_program else []):
        yield f"pages at the address 0: {zero_page}"


def property_list_faults(name, image, expected):
    section = image.section("__TEXT", "__info_plist")
    if section is None:
        yield "no property list"
        return
    found = plistlib.loads(section[1])
    if found.get("CFBundleIdentifier") != f"com.pellux.{name}":
        yield f"identifier in the property list: {found.get('CFBundleIdentifier')}"
    if any(found.get(key) != expected.version for key in VERSION_KEYS):
        yield f"versions in the property list: {[found.get(key) for key in VERSION_KEYS]}"
    if name not in found.get("CFBundleName", ""):
        yield f"name in the property list: {found.get('CFBundleName')}"


def library_faults(relative, image, expected):
    # The launcher needs the logging library; the other programs may use it, too.
    needed = {IDENTITY} if relative == LAUNCHER else set()
    allowed = expected.system_libraries | ({IDENTITY} if relative != LIBLOGGER else set())
    libraries = image.libraries()
    if len(set(libraries)) != len(libraries) or not needed <= set(libraries) <= allowed:
        yield f"libraries: {sorted(libraries)}"
    found = {symbol for place, symbol in image.imports() if place == IDENTITY}
    needed = LOGGER_FUNCTIONS if relative == LAUNCHER else set()
    if not needed <= found <= LOGGER_FUNCTIONS:
        yield f"imports from liblogger: {sorted(found)}"


def import_faults(image, expected):
    entries = image.import_entries()
    optional = sorted({symbol for _, symbol, is_optional, _ in entries if is_optional})
    if optional:
        yield f"imports that may be missing: {optional}"
    lazy = sorted({symbol for _, symbol, _, is_lazy in entries if is_lazy})
    if lazy:
        yield f"bound at their first use, which may be in a forked child: {lazy}"

    by_place = {}
    for place, symbol, _, _ in entries:
        by_place.setdefault(place, set()).add(symbol)
    if not by_place.keys() & expected.system_libraries:
        yield "no import from the system"
    weak = macho.SPECIAL_PLACES[-3]
    if SYSTEM_CXX in expected.system_libraries and SYSTEM_CXX in image.libraries() and weak in by_place:
        by_place[weak] = {symbol for symbol in by_place[weak] if not symbol.startswith(REPLACEABLE)}
    for place, symbols in sorted(by_place.items()):
        if place == IDENTITY or not symbols:
            continue
        if place not in expected.system_libraries:
            yield f"looked up in {place}: {sorted(symbols)}"
            continue
        known = expected.stubs.exports(place, image.architecture)
        if known is None:
            yield f"the SDK has no stub for {place}"
        elif not symbols <= known:
            yield f"not in the SDK's {place}: {sorted(symbols - known)}"
    if not expected.is_native:
        unlisted = by_place.get(SYSTEM, set()) - expected.imports.get(image.architecture, set())
        if unlisted:
            version = MINIMUM_VERSIONS.get(image.architecture)
            yield f"not in the list of imports for {version} (tools/macos/imports): {sorted(unlisted)}"


def file_faults(bundle, relative, expected):
    path = os.path.join(bundle, relative)
    try:
        with open(path, "rb") as file:
            data = file.read()
        images = macho.slices(data)
        if set(images) != set(MINIMUM_VERSIONS):
            yield f"{relative}: architectures {sorted(images)} instead of {sorted(MINIMUM_VERSIONS)}"
        for architecture, image in sorted(images.items()):
            try:
                for fault in image_faults(relative, image, expected):
                    yield f"{relative} ({architecture}): {fault}"
            except UNREADABLE as error:
                yield f"{relative} ({architecture}): {error}"
    except UNREADABLE as error:
        yield f"{relative}: {error}"
        return
    for found in paths_of_this_machine(data):
        yield f"{relative}: a path of the machine that built it: {found}"


def tree_faults(bundle, expected):
    """What is wrong with the names, kinds and modes of what the bundle consists of; `expected.programs` and no more."""
    files = {*expected.programs, LIBLOGGER, SETTINGS}
    folders = {""}
    for path in files:
        while path:
            path = os.path.dirname(path)
            folders.add(path)
    found = {""}
    for parent, folder_names, file_names in os.walk(bundle):
        found |= {os.path.relpath(os.path.join(parent, name), bundle) for name in folder_names + file_names}
    # What a signature of the whole bundle adds is part of the application's own.
    if found != files | folders:
        yield f"too much in the bundle: {sorted(found - files - folders)}, missing: {sorted((files | folders) - found)}"
    for path in sorted(found & (files | folders)):
        mode = os.lstat(os.path.join(bundle, path)).st_mode
        name = path or "the bundle itself"
        if not (stat.S_ISREG(mode) if path in files else stat.S_ISDIR(mode)):
            yield f"{name}: not a {'file' if path in files else 'folder'}"
        elif mode & stat.S_IWOTH or (path in files and mode & (stat.S_ISUID | stat.S_ISGID | stat.S_ISVTX)):
            yield f"{name}: the mode {stat.filemode(mode)}"
        elif path != SETTINGS and not mode & stat.S_IXUSR:
            yield f"{name}: not executable"


def settings_faults(bundle, expected):
    try:
        with open(os.path.join(bundle, SETTINGS), "rb") as file:
            found = file.read()
    except OSError as error:
        yield f"{SETTINGS}: {error}"
        return
    if found != expected.settings:
        yield f"{SETTINGS}: {found!r} instead of {expected.settings!r}"


def files_below(folder):
    for parent, _, names in os.walk(folder):
        for name in names:
            yield os.path.relpath(os.path.join(parent, name), folder)


def bundle_faults(bundle, expected):
    """Everything that is wrong with the bundle, as texts."""
    for relative in (*expected.programs, LIBLOGGER):
        yield from file_faults(bundle, relative, expected)
    yield from settings_faults(bundle, expected)
    yield from tree_faults(bundle, expected)


def symbols_faults(bundle, folder, programs):
    """What is wrong with debugging symbols: paths of this machine, or that they belong to other binaries."""
    for relative in sorted(files_below(folder)):
        with open(os.path.join(folder, relative), "rb") as file:
            for found in paths_of_this_machine(file.read()):
                yield f"{relative}: a path of the machine that built it: {found}"
    for relative in (*programs, LIBLOGGER):
        name = os.path.basename(relative)
        symbols = os.path.join(folder, f"{name}.dSYM/Contents/Resources/DWARF", name)
        try:
            if uuids_of(symbols) != uuids_of(os.path.join(bundle, relative)):
                yield f"{name}.dSYM: made for another {name}"
        except UNREADABLE as error:
            yield f"{name}.dSYM: {error}"


def uuids_of(path):
    with open(path, "rb") as file:
        return {architecture: image.uuid() for architecture, image in macho.slices(file.read()).items()}


def sdk_at_hand():
    """The SDK of the tools that are installed on a Mac, or None."""
    try:
        command = ["xcrun", "--sdk", "macosx", "--show-sdk-path"]
        return subprocess.run(command, check=True, capture_output=True, text=True).stdout.strip()
    except (OSError, subprocess.CalledProcessError):
        return None


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("bundle")
    parser.add_argument("--list", required=True)
    parser.add_argument("--native", action="store_true")
    parser.add_argument("--sdk")
    parser.add_argument("--symbols")
    parser.add_argument("--skip-missing", action="store_true")
    arguments = parser.parse_args()

    sdk = arguments.sdk or sdk_at_hand()
    nothing = None
    if not os.path.isdir(arguments.bundle):
        nothing = f"there is no {arguments.bundle}; scripts/macos-build makes it, and on a Mac the preset macos"
    elif sdk is None or not os.path.isfile(os.path.join(sdk, "usr/lib/libSystem.tbd")):
        nothing = "there is no SDK to compare with; scripts/macos-build installs one, and on a Mac Xcode"
    if nothing:
        print(("Skipped: " if arguments.skip_missing else "Error: ") + nothing)
        return 77 if arguments.skip_missing else 2

    expected = Expected(macho.StubLibraries(sdk), arguments.list, arguments.native)
    faults = list(bundle_faults(arguments.bundle, expected))
    if arguments.symbols:
        faults += symbols_faults(arguments.bundle, arguments.symbols, expected.programs)
    for fault in faults:
        print(fault)
    if faults:
        print(f"{len(faults)} faults. (Is {arguments.bundle} as new as the sources? If not, build it again.)")
        return 1
    names = ", ".join(os.path.basename(path) for path in expected.programs)
    print(f"No fault in {arguments.bundle}: {names} and liblogger for {' and '.join(MINIMUM_VERSIONS)}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
