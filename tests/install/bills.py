#!/usr/bin/env python3
"""Holds the packages' bills of materials to SPDX 2.3 and to the packages: bills.py DIRECTORY SCHEMA EPOCH, with the packages and
their bills in DIRECTORY. Prints what is wrong and exits with 1."""
import copy
import hashlib
import json
import subprocess
import sys
import tempfile
import time
from pathlib import Path

import jsonschema

directory, schema_file, epoch = Path(sys.argv[1]), Path(sys.argv[2]), int(sys.argv[3])
schema = json.loads(schema_file.read_text())
jsonschema.Draft7Validator.check_schema(schema)
validator = jsonschema.Draft7Validator(schema)
problems = []


def same(what, expected, found):
    if expected != found:
        problems.append(f"{what}: expected {expected}, found {found}")


def field(deb, name):
    return subprocess.run(["dpkg-deb", "-f", deb, name], check=True, capture_output=True, text=True).stdout.strip()


def digest(algorithm, path):
    return hashlib.new(algorithm, path.read_bytes()).hexdigest()


def related(bill, kind):
    names = {package["SPDXID"]: package["name"] for package in bill["packages"]}
    return sorted(names[r["relatedSpdxElement"]] for r in bill["relationships"]
                  if r["relationshipType"] == kind and r["spdxElementId"] == "SPDXRef-Package")


def paths_to_properties(value, path=()):
    """The place of each property of each object in `value`."""
    if isinstance(value, dict):
        for name in value:
            yield path + (name,)
    for name, inner in value.items() if isinstance(value, dict) else enumerate(value) if isinstance(value, list) else ():
        yield from paths_to_properties(inner, path + (name,))


def is_optional(path):
    """What the standard leaves optional and some package has, some not."""
    if len(path) == 3 and path[0] == "packages" and path[1] > 0 and path[-1] in ("comment", "versionInfo", "externalRefs"):
        return True
    return path[-1] == "packageVerificationCodeExcludedFiles" or path[0] == "hasExtractedLicensingInfos" and path[-1] == "name"


def refuses_damage(bill):
    """The schema is no schema if it takes a bill that lacks something."""
    for path in paths_to_properties(bill):
        if is_optional(path):
            continue
        damaged = copy.deepcopy(bill)
        at = damaged
        for step in path[:-1]:
            at = at[step]
        del at[path[-1]]
        if validator.is_valid(damaged):
            problems.append(f"{schema_file.name} takes a bill without {'/'.join(map(str, path))}")
        at[path[-1]] = None
        if validator.is_valid(damaged):
            problems.append(f"{schema_file.name} takes a bill with nothing at {'/'.join(map(str, path))}")


debs = sorted(directory.glob("*.deb"))
same("the number of packages", 10, len(debs))
for deb in debs:
    name, version, architecture = deb.stem.split("_")
    bill_file = deb.with_suffix(".spdx.json")
    if not bill_file.exists():
        problems.append(f"{deb.name} has no bill beside it")
        continue
    bill = json.loads(bill_file.read_text())
    for error in validator.iter_errors(bill):
        problems.append(f"{bill_file.name}: {error.json_path}: {error.message[:200]}")
    if problems:
        continue
    with tempfile.TemporaryDirectory() as tree:
        tree = Path(tree)
        subprocess.run(["dpkg-deb", "-x", deb, tree], check=True)
        inside = tree / f"usr/share/doc/{name}/{name}_{architecture}.spdx.json"
        excluded = []
        if not name.endswith("-dbgsym"):
            excluded = ["./" + str(inside.relative_to(tree))]
            same(f"the bill in {deb.name}", bill_file.read_text(), inside.read_text())
        files = sorted(p for p in tree.rglob("*") if p.is_file() and not p.is_symlink() and p != inside)
        same(f"files in {bill_file.name}", [f"./{p.relative_to(tree)}" for p in files], sorted(f["fileName"] for f in bill["files"]))
        for file in bill["files"]:
            sha1, sha256 = (c["checksumValue"] for c in file["checksums"])
            same(f"SHA-1 of {file['fileName']}", digest("sha1", tree / file["fileName"]), sha1)
            same(f"SHA-256 of {file['fileName']}", digest("sha256", tree / file["fileName"]), sha256)
        package = bill["packages"][0]
        code = package["packageVerificationCode"]
        same(f"verification code of {name}", hashlib.sha1("".join(sorted(digest("sha1", p) for p in files)).encode()).hexdigest(),
             code["packageVerificationCodeValue"])
        same(f"files that it leaves out of {name}", excluded, code.get("packageVerificationCodeExcludedFiles", []))
        same(f"what {name} contains", sorted(f["SPDXID"] for f in bill["files"]),
             sorted(r["relatedSpdxElement"] for r in bill["relationships"] if r["relationshipType"] == "CONTAINS"))
    same("name", [name, version, deb.name], [package["name"], package["versionInfo"], package["packageFileName"]])
    same("time", time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(epoch)), bill["creationInfo"]["created"])
    depends = sorted(d.split(" ")[0] for d in field(deb, "Depends").split(", ") if d)
    same(f"what {name} depends on", depends, related(bill, "DEPENDS_ON"))
    same(f"what of the platform {name} needs", ["libkavrovorl.so"] if name == "libvorl-srv6-1" else [],
         related(bill, "HAS_PREREQUISITE"))
    is_tool = name == "vorl-srv6-tool"
    same(f"what is compiled into {name}", ["libcli11-dev", "libtomlplusplus-dev", "nlohmann-json3-dev"] if is_tool else [], related(bill, "STATIC_LINK"))
    same(f"licence of {name}", "LicenseRef-not-yet-given" + (" AND BSD-3-Clause AND MIT" if is_tool else ""),
         package["licenseDeclared"])
    same("the licence whose text it has", ["LicenseRef-not-yet-given"],
         [info["licenseId"] for info in bill["hasExtractedLicensingInfos"]])
    identifiers = [item["SPDXID"] for item in [bill] + bill["packages"] + bill["files"]]
    same(f"identifiers of {name} that occur twice", [], sorted({i for i in identifiers if identifiers.count(i) > 1}))
    for relationship in bill["relationships"]:
        for end in ("spdxElementId", "relatedSpdxElement"):
            if relationship[end] not in identifiers:
                problems.append(f"{bill_file.name}: a relationship names {relationship[end]}, which is not in it")
    refuses_damage(bill)
sys.exit("\n".join(problems) or 0)
