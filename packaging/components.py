#!/usr/bin/env python3
"""Which parts of other projects the packages for Debian contain. The versions are those of the packages on this machine.

    components.py notices PACKAGE                 the notices of what is linked statically or included
    components.py built-using PACKAGE             the same as the field Static-Built-Using of a package
    components.py check BUILD-FOLDER PROGRAM...   refuses what the programs contain and this file does not name
    components.py sbom VERSION PROGRAM...         a software bill of materials: CycloneDX 1.5, JSON
"""
import dataclasses
import datetime
import json
import os
import pathlib
import re
import subprocess
import sys
import urllib.parse
import uuid


@dataclasses.dataclass
class Linked:
    """A part that is copied into our files, by the package that has its headers and archives."""
    name: str
    package: str
    licence: str
    into: tuple


SERVER, COMPANION, KIT = "vostel-mcp", "vostel", "libvostelmcpkit-dev"
GCC = "GPL-3.0-or-later WITH GCC-exception-3.1"
STATIC = [
    Linked("utf8proc", "libutf8proc-dev", "MIT AND Unicode-DFS-2015", (SERVER, COMPANION)),
    Linked("fast_float", "libfast-float-dev", "Apache-2.0 OR MIT", (SERVER, COMPANION, KIT)),
    Linked("CLI11", "libcli11-dev", "BSD-3-Clause", (COMPANION,)),
    Linked("libstdc++", "libstdc++-12-dev", GCC, (SERVER, COMPANION, KIT)),
    Linked("libgcc", "libgcc-12-dev", GCC, (SERVER, COMPANION)),
    # The start-up code of each program.
    Linked("GNU C Library", "libc6-dev", "LGPL-2.1-or-later", (SERVER, COMPANION)),
]

# The licences of shared libraries, by the packages that contain them.
SHARED = {
    "libavcodec59": "GPL-2.0-or-later", "libavformat59": "GPL-2.0-or-later", "libavutil57": "GPL-2.0-or-later",
    "libswresample4": "GPL-2.0-or-later",
    "libc6": "LGPL-2.1-or-later", "libgcc-s1": GCC, "libstdc++6": GCC,
    "libpocketsphinx3": "BSD-2-Clause", "libsphinxbase3": "BSD-2-Clause",
    "libcurl4": "curl", "libsqlite3-0": "blessing", "libssl3": "Apache-2.0",
}
# Packages of which only the interface is used: declarations of what is in a shared library or in the system.
INTERFACES = {"libavcodec-dev", "libavformat-dev", "libavutil-dev", "libswresample-dev", "libpocketsphinx-dev",
              "libsphinxbase-dev", "libcurl4-openssl-dev", "libsqlite3-dev", "libssl-dev", "linux-libc-dev"}
# Data that a program needs and that another package brings.
DATA = {"pocketsphinx-en-us": "BSD-2-Clause"}


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True, env={**os.environ, "LC_ALL": "C"}).stdout


def query(package, field):
    """A field of an installed package. If the package is installed for several processors, this machine's counts."""
    shown = output("dpkg-query", "--show", f"--showformat=${{Architecture}} ${{{field}}}\n", package)
    values = dict(line.split(" ", 1) for line in shown.splitlines())
    return values.get("all") or values[output("dpkg", "--print-architecture").strip()]


def owners(files):
    """The packages that files of the system belong to."""
    paths = sorted({str(path) for file in files for path in (file, pathlib.Path(file).resolve())})
    found = subprocess.run(["dpkg", "--search", *paths], capture_output=True, text=True).stdout
    return {owner.split(":")[0] for line in found.splitlines() if not line.startswith("diversion")
            for owner in line.split(": ")[0].split(", ")}


def shared_libraries(program):
    """The packages of the libraries that a program names."""
    names = re.findall(r"\(NEEDED\).*\[(.*)\]", output("readelf", "--dynamic", "--wide", program))
    lines = dict(re.findall(r"(\S+) => (\S+)", output("ldd", program)))
    return owners(lines[name] for name in names if name in lines)


def part_of(package):
    return [part for part in STATIC if package in part.into]


def notices(package):
    print(f"The package {package} contains parts of the projects below. Each has its notice, as Debian gives it.")
    titles = {}  # Parts of one project share a notice.
    for part in part_of(package):
        notice = pathlib.Path(f"/usr/share/doc/{part.package}/copyright").read_text(encoding="utf-8").rstrip()
        titles.setdefault(notice, []).append(f"{part.name} {query(part.package, 'Version')} ({part.licence})")
    for notice, parts in titles.items():
        title = "\n".join(parts)
        print(f"\n\n{title}\n{'=' * len(parts[-1])}\n\n{notice}")


def built_using(package):
    sources = {f"{query(part.package, 'source:Package')} (= {query(part.package, 'source:Version')})"
               for part in part_of(package)}
    print(", ".join(sorted(sources)))


def check(build, programs):
    """Every system header that a release was compiled with belongs to a part that this file names."""
    headers = {line.strip() for line in output("ninja", "-C", build, "-t", "deps").splitlines()
               if line.startswith("    /usr/")}
    unknown = owners(headers) - {part.package for part in STATIC} - INTERFACES
    unknown |= set().union(*(shared_libraries(program) for program in programs)) - set(SHARED)
    if unknown or not headers:
        sys.exit(f"packaging/components.py does not name the licence of {', '.join(sorted(unknown)) or 'any header'}.")


def component(package, licence, **more):
    version = query(package, "Version")
    return {"bom-ref": package, "type": "library", "name": package, "version": version,
            "licenses": [{"expression": licence}], "purl": f"pkg:deb/debian/{package}@{urllib.parse.quote(version, safe=':')}", **more}


def linkage(value):
    return {"properties": [{"name": "linkage", "value": value}]}


def bill_of_materials(version, programs):
    names = {SERVER: "vostel-mcp", COMPANION: "Vostel", KIT: "VostelMCPKit"}
    needed = {SERVER: set(), COMPANION: set(), KIT: set()}
    for program in programs:
        needed[SERVER if pathlib.Path(program).name == "vostel-mcp" else COMPANION] |= shared_libraries(program)
    needed[COMPANION] |= set(DATA)
    shared = sorted(set().union(*needed.values()) - set(DATA))
    seconds = int(os.environ["SOURCE_DATE_EPOCH"])
    bill = {
        "$schema": "http://cyclonedx.org/schema/bom-1.5.schema.json", "bomFormat": "CycloneDX", "specVersion": "1.5", "version": 1,
        "metadata": {
            "timestamp": datetime.datetime.fromtimestamp(seconds, datetime.timezone.utc).strftime("%Y-%m-%dT%H:%M:%SZ"),
            "component": {"bom-ref": "release", "type": "application", "name": "vostel-mcp", "version": version},
        },
        "components": [
            *({"bom-ref": package, "type": "library" if package == KIT else "application", "name": name, "version": version}
              for package, name in names.items()),
            *(component(part.package, part.licence, **linkage("static")) for part in STATIC),
            *(component(package, SHARED[package], **linkage("shared")) for package in shared),
            *({**component(package, licence), "type": "data"} for package, licence in DATA.items()),
        ],
        "dependencies": [
            {"ref": "release", "dependsOn": list(names)},
            *({"ref": package, "dependsOn": [part.package for part in part_of(package)] + sorted(needed[package])}
              for package in names),
        ],
    }
    # The same content has the same serial number.
    content = json.dumps(bill, sort_keys=True)
    bill["serialNumber"] = "urn:uuid:" + str(uuid.uuid5(uuid.NAMESPACE_OID, content))
    print(json.dumps(bill, indent=2))


def main():
    sys.stdout.reconfigure(encoding="utf-8")
    kind, *arguments = sys.argv[1:]
    if kind == "notices":
        notices(arguments[0])
    elif kind == "built-using":
        built_using(arguments[0])
    elif kind == "check":
        check(arguments[0], arguments[1:])
    elif kind == "sbom":
        bill_of_materials(arguments[0], arguments[1:])
    else:
        sys.exit(__doc__)


main()
