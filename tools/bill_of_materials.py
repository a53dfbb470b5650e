"""Writes out/materials.json: what of others the built programs are made of and load, as a CycloneDX 1.5 bill of materials.

On Linux the libraries that the loader brings in, by the packages that they come from, and what is linked from archives;
for Windows the sources that packaging/windows-libraries.txt pins. The same tree on the same machine gives the same bytes.
"""

import json
import pathlib
import re
import subprocess

ROOT = pathlib.Path(__file__).resolve().parent.parent
OUTPUT = ROOT / "out/materials.json"
ARCHIVES = ("libxerces-c-dev",)


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True, cwd=ROOT).stdout


def programs():
    return sorted(path for path in (ROOT / "out/suite").iterdir() if path.is_file() and path.read_bytes()[:4] == b"\x7fELF")


def packages_of(program):
    """Those of the libraries that the loader brings in."""
    for library in re.findall(r"(/\S+) \(0x", output("ldd", program)):
        owners = {str(pathlib.Path(library).resolve()), library, library.removeprefix("/usr")}
        found = subprocess.run(["dpkg-query", "-S", *owners], capture_output=True, text=True, check=False).stdout
        if not found:
            raise RuntimeError(f"no package brings {library}, which {program.name} loads")
        yield found.split(":")[0]


def licenses_of(package):
    path = pathlib.Path("/usr/share/doc", package, "copyright")
    text = path.read_text(errors="replace") if path.exists() else ""
    names = {name.strip() for name in re.findall(r"^License:[ \t]*(\S.*)$", text, re.M)}
    return [{"license": {"name": name}} for name in sorted(names)]


def deb_component(package, kind):
    name, version, source = output(
        "dpkg-query", "-W", "-f=${Package}|${Version}|${source:Package}\n", package).splitlines()[0].split("|")
    return {
        "type": "library", "bom-ref": f"deb:{name}", "name": name, "version": version,
        "purl": f"pkg:deb/debian/{name}@{version.replace('+', '%2B')}", "licenses": licenses_of(name),
        "properties": [{"name": "source package", "value": source}, {"name": "linked", "value": kind}],
    }


def windows_components():
    for line in (ROOT / "packaging/windows-libraries.txt").read_text().splitlines():
        if not line.startswith("#"):
            name, version = line.split()
            yield {
                "type": "library", "bom-ref": f"windows:{name}", "name": name, "version": version,
                "purl": f"pkg:deb/debian/{name}@{version.replace('+', '%2B')}?arch=source",
                "properties": [{"name": "linked", "value": "from an archive, into the programs for Windows"}],
            }


def bill():
    version = re.search(r'suiteVersion = "(.*)"', (ROOT / "src/update/update_handler.h").read_text()).group(1)
    shared = {program.name: sorted(set(packages_of(program))) for program in programs()}
    components = [deb_component(package, "at the start, as a shared library")
                  for package in sorted(set().union(*shared.values()))]
    components += [deb_component(package, "from an archive") for package in ARCHIVES]
    components += windows_components()
    programs_made = [{"type": "application", "bom-ref": name, "name": name, "version": version} for name in shared]
    return {
        "bomFormat": "CycloneDX", "specVersion": "1.5", "version": 1,
        "metadata": {"component": {"type": "application", "bom-ref": "suite", "name": "Zelmo Dockset agent",
                                   "version": version}},
        "components": programs_made + components,
        "dependencies": [{"ref": "suite", "dependsOn": list(shared)}] +
                        [{"ref": name, "dependsOn": [f"deb:{package}" for package in packages]}
                         for name, packages in shared.items()],
    }


def main():
    made = bill()
    OUTPUT.write_text(json.dumps(made, indent=1) + "\n")
    print(f"{OUTPUT.relative_to(ROOT)}: {len(made['components'])} components")


if __name__ == "__main__":
    main()
