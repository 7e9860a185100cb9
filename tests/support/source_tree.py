"""What the tests that read the sources share: where they lie, and which belong to what."""

import pathlib

TOP = pathlib.Path(__file__).resolve().parents[2]

# Folders whose C++ is not part of what is shipped. A folder that is not listed here is: a new one is checked by itself.
NOT_SHIPPED = {"bench", "examples", "fuzz", "tests"}

# Shipped, but not part of the launcher.
NOT_THE_LAUNCHER = {"launcherctl"}


def files(folder, *patterns):
    """The files below a folder of the tree that match one of the patterns, sorted."""
    return sorted(path for pattern in patterns for path in (TOP / folder).rglob(pattern))


def folders():
    """The names of the tree's top folders, without hidden ones and what was built."""
    paths = [path for path in TOP.iterdir() if path.is_dir() and not path.name.startswith(".")]
    return sorted(path.name for path in paths if path.name != "build" and not (path / "CMakeCache.txt").exists())


def shipped_sources(without=()):
    """The C++ files of everything that is shipped, apart from the folders in `without`."""
    for folder in folders():
        if folder not in NOT_SHIPPED and folder not in without:
            yield from files(folder, "*.cpp", "*.h")


def read(path):
    return (TOP / path).read_text(encoding="utf-8")
