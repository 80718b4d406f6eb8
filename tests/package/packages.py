"""What the tests of packages share: where the packages are, and how they are opened."""
import pathlib
import re
import zipfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
KINDS = ("library", "simulated", "symbols")


def version():
    header = (ROOT / "src/common/Version.h").read_text(encoding="utf-8")
    return re.search(r'#define VDIPC_VERSION "([\d.]+)"', header)[1]


def paths(folder):
    """The packages in a folder by their kind; a missing one, or one too many, ends the test."""
    names = {kind: f"VDIPC-{version()}-{kind}-win64-mingw.zip".replace("-library-", "-") for kind in KINDS}
    found = {path.name for path in pathlib.Path(folder).glob("*.zip")}
    if found != set(names.values()):
        raise SystemExit(f"packages in {folder}: {sorted(found)}, expected {sorted(names.values())}")
    return {kind: pathlib.Path(folder) / name for kind, name in names.items()}


def members(path):
    """The files of a package by their names, without the one folder that all of them lie in."""
    with zipfile.ZipFile(path) as package:
        files = {}
        for name in package.namelist():
            top, _, rest = name.partition("/")
            if top != path.stem:
                raise SystemExit(f"{path.name}: {name} lies outside of {path.stem}/")
            if rest and not rest.endswith("/"):
                files[rest] = package.read(name)
        return files


def unpack(path, folder):
    """Unzips, and returns the one folder inside."""
    with zipfile.ZipFile(path) as package:
        package.extractall(folder)
    return pathlib.Path(folder) / path.stem
