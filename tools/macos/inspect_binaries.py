#!/usr/bin/env python3
"""Inspects the bundle for macOS, architecture by architecture, without running it: on Linux as on a Mac.

    inspect_binaries.py --list FILE [--sdk FOLDER] [--symbols FOLDER] [--skip-missing] BUNDLE

--list names the bundle.txt of a build folder, which says what programs the bundle has. --sdk names the folder in which usr/lib/libSystem.tbd lies; without it a Mac's own tools are asked. --symbols names a
folder of debugging symbols, which are inspected for paths of this machine. Prints each fault as "file (architecture):
message". Exit status: 0 without a fault, 1 with one, 2 when there is nothing to inspect, or 77 then with
--skip-missing, which says that this is all right.
"""

import argparse
import os
import re
import struct
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True  # Nothing is to lie beside the sources.

import macho

MINIMUM_VERSIONS = {"arm64": "11.0", "x86_64": "10.15"}

PROGRAMS = "Contents/MacOS/"
LAUNCHER = PROGRAMS + "launcher"
LIBLOGGER = "Contents/Frameworks/liblogger.dylib"
SETTINGS = "Contents/Resources/qz3api.ini"
IDENTITY = "@rpath/liblogger.dylib"
LOGGER_FUNCTIONS = {"_GetLogger", "_InitLogger"}

# The C++ library is part of both binaries when they are built on Linux; Xcode's tools have the system's only.
SYSTEM_LIBRARIES = {"/usr/lib/libSystem.B.dylib"} | ({"/usr/lib/libc++.1.dylib"} if sys.platform == "darwin" else set())

# How reading a file that is not what it should be ends.
UNREADABLE = (OSError, ValueError, macho.Malformed, struct.error)

# An absolute path begins where no other part of a path, or of a URL, is before it.
BEGIN = rb"(?<![\w.@~+/:-])"
PATHS_OF_MACHINES = [
    BEGIN + rb"/(?:builds?|home|mnt|opt|private/(?:tmp|var)|root|srv|tmp|Users|Volumes|work\w*)/[ -~]*",
    BEGIN + rb"/[!-9;-~]+\.(?:a|c|cc|cpp|cxx|h|hpp|m|mm|o|zig)(?![\w.])",
]


def paths_of_this_machine(data):
    """The paths in `data` that tell where it was built."""
    own = {os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))}
    own |= {os.path.expanduser("~"), tempfile.gettempdir()}
    own |= {os.path.realpath(path) for path in own}
    patterns = [re.escape(path.encode()) + rb"[ -~]*" for path in sorted(own) if path.count("/") > 1]
    return sorted({match.decode() for pattern in patterns + PATHS_OF_MACHINES for match in re.findall(pattern, data)})


def programs_in_list(path):
    """The places in the bundle of the programs that a build folder's bundle.txt names."""
    with open(path, encoding="utf-8") as file:
        values = dict(line.rstrip("\n").split("=", 1) for line in file)
    return [PROGRAMS + name for name in values["programs"].split()]


def image_faults(relative, image, stubs):
    """What is wrong with one architecture's image of a program or of liblogger."""
    is_program = relative != LIBLOGGER
    # The others may use the logging library, too.
    needs_liblogger = relative == LAUNCHER
    expected = [
        ("kind", image.kind, macho.EXECUTABLE if is_program else macho.DYLIB),
        ("minimum version", image.minimum_versions(), [MINIMUM_VERSIONS.get(image.architecture)]),
        ("run paths", image.run_paths(), ["@executable_path/../Frameworks"] if is_program else []),
        ("exports", sorted(image.exports()), ["__mh_execute_header"] if is_program else sorted(LOGGER_FUNCTIONS)),
        ("settings for the loader", image.has_command(macho.LC_DYLD_ENVIRONMENT), False),
    ]
    for what, found, wanted in expected:
        if found != wanted:
            yield f"{what}: {found} instead of {wanted}"

    identity = image.identity()
    if (identity and (identity[0], identity[2])) != (None if is_program else (IDENTITY, "1.0")):
        yield f"name of the library: {identity}"

    libraries = set(image.libraries())
    needed, allowed = ({IDENTITY} if wanted else set() for wanted in (needs_liblogger, is_program))
    if not needed <= libraries <= allowed | SYSTEM_LIBRARIES:
        yield f"libraries: {sorted(libraries)}"
    imports = image.imports()
    from_liblogger = {symbol for place, symbol in imports if place == IDENTITY}
    needed, allowed = (LOGGER_FUNCTIONS if wanted else set() for wanted in (needs_liblogger, is_program))
    if not needed <= from_liblogger <= allowed:
        yield f"imports from liblogger: {sorted(from_liblogger)}"
    yield from import_faults(imports, image.architecture, stubs)

    for fault in image.signature_faults():
        yield fault


def import_faults(imports, architecture, stubs):
    by_place = {}
    for place, symbol in imports:
        by_place.setdefault(place, set()).add(symbol)
    if not by_place.keys() & SYSTEM_LIBRARIES:
        yield "no import from the system"
    for place, symbols in sorted(by_place.items()):
        if place == IDENTITY:
            continue
        if place not in SYSTEM_LIBRARIES:
            yield f"looked up in {place}: {sorted(symbols)}"
            continue
        known = stubs.exports(place, architecture)
        if known is None:
            yield f"the SDK has no stub for {place}"
        elif not symbols <= known:
            yield f"not in the SDK's {place}: {sorted(symbols - known)}"


def file_faults(bundle, relative, stubs):
    path = os.path.join(bundle, relative)
    try:
        with open(path, "rb") as file:
            data = file.read()
        images = macho.slices(data)
        if set(images) != set(MINIMUM_VERSIONS):
            yield f"{relative}: architectures {sorted(images)} instead of {sorted(MINIMUM_VERSIONS)}"
        for architecture, image in sorted(images.items()):
            for fault in image_faults(relative, image, stubs):
                yield f"{relative} ({architecture}): {fault}"
    except UNREADABLE as error:
        yield f"{relative}: {error}"
        return
    if not os.access(path, os.X_OK):
        yield f"{relative}: not executable"
    for found in paths_of_this_machine(data):
        yield f"{relative}: a path of the machine that built it: {found}"


def files_below(folder):
    for parent, _, names in os.walk(folder):
        for name in names:
            yield os.path.relpath(os.path.join(parent, name), folder)


def bundle_faults(bundle, stubs, programs):
    """Everything that is wrong with the bundle, as texts."""
    for relative in (*programs, LIBLOGGER):
        yield from file_faults(bundle, relative, stubs)
    # What a signature of the whole bundle adds is part of the application's own.
    found, expected = sorted(files_below(bundle)), sorted([*programs, LIBLOGGER, SETTINGS])
    if found != expected:
        yield f"files: {found} instead of {expected}"


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

    stubs = macho.StubLibraries(sdk)
    programs = programs_in_list(arguments.list)
    faults = list(bundle_faults(arguments.bundle, stubs, programs))
    if arguments.symbols:
        faults += symbols_faults(arguments.bundle, arguments.symbols, programs)
    for fault in faults:
        print(fault)
    if faults:
        print(f"{len(faults)} faults. (Is {arguments.bundle} as new as the sources? If not, build it again.)")
        return 1
    names = ", ".join(os.path.basename(path) for path in programs)
    print(f"No fault in {arguments.bundle}: {names} and liblogger for {' and '.join(MINIMUM_VERSIONS)}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
