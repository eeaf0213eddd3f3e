#!/usr/bin/env python3
"""Writes the bill of materials of a package, in SPDX 2.3's JSON form:

  sbom.py TREE DOCUMENT COPYRIGHT COMPILER

TREE is the package's tree with its DEBIAN/control; DOCUMENT is what is written, in the tree or elsewhere. COPYRIGHT is the file with the text of the
owner's licence. COMPILER ("GNU 12.2.0") made the package. SOURCE_DATE_EPOCH is in the environment. The document lists every file
of the package but itself, with its checksums, each package that it depends on, the platform's bus where it needs that, the
headers that are compiled into the tool, and the compiler.
"""
import datetime
import hashlib
import json
import os
import re
import subprocess
import sys
import uuid
from pathlib import Path

# Debian's packages of header-only libraries that are compiled into a package's programs, with their licences.
COMPILED_IN = {"vorl-srv6-tool": {"libcli11-dev": "BSD-3-Clause", "nlohmann-json3-dev": "MIT", "libtomlplusplus-dev": "MIT"}}
# What a package's files need and no package has.
OF_THE_PLATFORM = {"libvorl-srv6-1": ["libkavrovorl.so"]}
PURPOSES = {"libs": "LIBRARY", "net": "APPLICATION"} # of Debian's sections


def fields_of(control):
    """Of a control file: names to values, of a long value the first line."""
    return dict(line.split(": ", 1) for line in control.read_text().splitlines() if not line.startswith(" "))


def owners_licence(path):
    """(name, text) of the licence of all files, in Debian's machine-readable form of copyright files."""
    paragraphs = [re.sub(r"\n \.(?=\n)", "\n", p) for p in re.split(r"\n\n+", path.read_text().strip())]
    name = next(re.search(r"^License: (\S+)$", p, re.MULTILINE)[1] for p in paragraphs if p.startswith("Files: *\n"))
    text = next(p.split("\n", 1)[1] for p in paragraphs if p.startswith(f"License: {name}\n"))
    return name, re.sub(r"^ ", "", text, flags=re.MULTILINE)


def file_type(path, content):
    if content.startswith(b"\x7fELF"):
        return "BINARY"
    if path.suffix in (".h", ".c"):
        return "SOURCE"
    return "DOCUMENTATION" if "/usr/share/" in f"/{path}" else "TEXT"


def checksum(algorithm, content):
    return {"algorithm": algorithm, "checksumValue": hashlib.new(algorithm.lower(), content).hexdigest()}


def main():
    tree, path, copyright_file = (Path(argument).resolve() for argument in sys.argv[1:4])
    compiler, compiler_version = sys.argv[4].split(" ")
    control = fields_of(tree / "DEBIAN/control")
    name, version, architecture = control["Package"], control["Version"], control["Architecture"]
    licence, licence_text = owners_licence(copyright_file)
    created = datetime.datetime.fromtimestamp(int(os.environ["SOURCE_DATE_EPOCH"]), datetime.timezone.utc)
    described = "SPDXRef-Package"
    relationships = [("SPDXRef-DOCUMENT", "DESCRIBES", described)]

    files = []
    for file in sorted(p for p in tree.rglob("*") if p.is_file() and not p.is_symlink()):
        inside = file.relative_to(tree)
        if inside.parts[0] == "DEBIAN" or file == path:
            continue
        content = file.read_bytes()
        files.append({
            "SPDXID": f"SPDXRef-File-{len(files)}",
            "fileName": f"./{inside}",
            "fileTypes": [file_type(inside, content)],
            "checksums": [checksum("SHA1", content), checksum("SHA256", content)],
            "licenseConcluded": "NOASSERTION",
            "licenseInfoInFiles": ["NOASSERTION"],
            "copyrightText": "NOASSERTION",
        })
        relationships.append((described, "CONTAINS", files[-1]["SPDXID"]))
    sha1s = sorted(file["checksums"][0]["checksumValue"] for file in files)
    verification = hashlib.sha1("".join(sha1s).encode()).hexdigest()

    excluded = {}
    if path.is_relative_to(tree):
        excluded["packageVerificationCodeExcludedFiles"] = [f"./{path.relative_to(tree)}"]

    declared = " AND ".join(dict.fromkeys([licence, *COMPILED_IN.get(name, {}).values()]))
    packages = [{
        "SPDXID": described,
        "name": name,
        "versionInfo": version,
        "packageFileName": f"{name}_{version}_{architecture}.deb",
        "supplier": "Organization: libvorl_srv6 maintainers",
        "downloadLocation": "NOASSERTION",
        "filesAnalyzed": True,
        "packageVerificationCode": {"packageVerificationCodeValue": verification, **excluded},
        "licenseConcluded": "NOASSERTION",
        "licenseInfoFromFiles": ["NOASSERTION"],
        "licenseDeclared": declared,
        "copyrightText": "NOASSERTION",
        "summary": control["Description"],
        "primaryPackagePurpose": PURPOSES.get(control["Section"], "OTHER"),
        "externalRefs": [{
            "referenceCategory": "PACKAGE-MANAGER", "referenceType": "purl",
            "referenceLocator": f"pkg:deb/vorl/{name}@{version}?arch={architecture}"}],
    }]

    def add(other, relationship, **more):
        identifier = "SPDXRef-" + re.sub(r"[^A-Za-z0-9.-]", "-", other)
        packages.append({
            "SPDXID": identifier, "name": other, "downloadLocation": "NOASSERTION", "filesAnalyzed": False,
            "licenseConcluded": "NOASSERTION", "licenseDeclared": "NOASSERTION", "copyrightText": "NOASSERTION", **more})
        first, kind, second = relationship
        relationships.append((first or identifier, kind, second or identifier))

    for dependency in filter(None, control.get("Depends", "").split(", ")):
        add(dependency.split(" ")[0], (described, "DEPENDS_ON", None), comment=f"Depends: {dependency}")
    for provided in OF_THE_PLATFORM.get(name, []):
        add(provided, (described, "HAS_PREREQUISITE", None), comment="Of the platform: no Debian package has it")
    for header_package, its_licence in COMPILED_IN.get(name, {}).items():
        found = subprocess.run(["dpkg-query", "-W", "-f", "${Version}", header_package],
                               check=True, capture_output=True, text=True).stdout
        add(header_package, (described, "STATIC_LINK", None), versionInfo=found, licenseDeclared=its_licence,
            externalRefs=[{"referenceCategory": "PACKAGE-MANAGER", "referenceType": "purl",
                           "referenceLocator": f"pkg:deb/debian/{header_package}@{found}"}])
    add(f"compiler {compiler}", (None, "BUILD_TOOL_OF", described), versionInfo=compiler_version)

    document = {
        "spdxVersion": "SPDX-2.3",
        "dataLicense": "CC0-1.0",
        "SPDXID": "SPDXRef-DOCUMENT",
        "name": f"{name}_{version}_{architecture}",
        "documentNamespace": "https://vorl.invalid/spdx/"
                             f"{name}_{version}_{architecture}-{uuid.uuid5(uuid.NAMESPACE_OID, verification)}",
        "creationInfo": {"created": created.strftime("%Y-%m-%dT%H:%M:%SZ"),
                         "creators": ["Organization: libvorl_srv6 maintainers", f"Tool: vorl-srv6-sbom-{version}"]},
        "documentDescribes": [described],
        "packages": packages,
        "files": files,
        "relationships": [{"spdxElementId": first, "relationshipType": kind, "relatedSpdxElement": second}
                          for first, kind, second in relationships],
        "hasExtractedLicensingInfos": [{
            "licenseId": licence, "name": "The owner has not given a licence", "extractedText": licence_text}],
    }
    path.write_text(json.dumps(document, indent=1, ensure_ascii=False) + "\n")


main()
