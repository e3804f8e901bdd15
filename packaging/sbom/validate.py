"""validate.py DOCUMENT PACKAGE.deb: the document follows SPDX 2.3 and names each file of the package.

The structure is compared with spdx.schema.json beside this file, which has the fields and the forms of
the SPDX 2.3 elements that write.py uses, and no others.
"""
import hashlib
import json
import os
import subprocess
import sys
import tempfile

import jsonschema
import license_expression


def structure(document):
    with open(os.path.join(os.path.dirname(__file__), "spdx.schema.json"), encoding="utf-8") as text:
        schema = json.load(text)
    jsonschema.Draft7Validator.check_schema(schema)
    for error in jsonschema.Draft7Validator(schema).iter_errors(document):
        yield f"{'/'.join(map(str, error.absolute_path))}: {error.message[:200]}"


def identifiers(document):
    """Each element has its own identifier, and a relationship names existing elements."""
    ids = [document["SPDXID"]]
    ids += [element["SPDXID"] for element in document["packages"] + document["files"]]
    for one in sorted({one for one in ids if ids.count(one) > 1}):
        yield f"{one} is not unique"
    for link in document["relationships"]:
        for end in (link["spdxElementId"], link["relatedSpdxElement"]):
            if end not in ids:
                yield f"a relationship names {end}, which is no element"
    contained = [link["relatedSpdxElement"] for link in document["relationships"]
                 if link["relationshipType"] == "CONTAINS"]
    if sorted(contained) != sorted(element["SPDXID"] for element in document["files"]):
        yield "CONTAINS does not name each file once"


def licences(document):
    """Licences are SPDX expressions; those of the project have their text in the document."""
    own = {info["licenseId"] for info in document.get("hasExtractedLicensingInfos", [])}
    known = license_expression.get_spdx_licensing()
    for element in document["packages"] + document["files"]:
        named = {element["licenseConcluded"], element.get("licenseDeclared", "NOASSERTION")}
        for licence in named | set(element.get("licenseInfoInFiles", [])):
            if licence in own | {"NOASSERTION", "NONE"}:
                continue
            if known.validate(licence).errors:
                yield f"{element['SPDXID']}: {licence} is no SPDX licence"


def unpacked(package):
    """{name: bytes of the file, or path of the symbolic link}, as dpkg-deb unpacks the package."""
    found = {}
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run(["dpkg-deb", "-x", package, folder], check=True)
        for parent, folders, names in os.walk(folder):
            for name in names + [one for one in folders if os.path.islink(os.path.join(parent, one))]:
                path = os.path.join(parent, name)
                key = "./" + os.path.relpath(path, folder)
                if os.path.islink(path):
                    found[key] = os.readlink(path).encode()
                else:
                    with open(path, "rb") as data:
                        found[key] = data.read()
    return found


def contents(document, package):
    files = unpacked(package)
    named = [element["fileName"] for element in document["files"]]
    for name in sorted(set(files) ^ set(named)):
        yield f"{name} is {'not named' if name in files else 'not in the package'}"
    for element in document["files"]:
        for checksum in element["checksums"]:
            data = files.get(element["fileName"], b"")
            if hashlib.new(checksum["algorithm"].lower(), data).hexdigest() != checksum["checksumValue"]:
                yield f"{element['fileName']}: wrong {checksum['algorithm']}"
    code = hashlib.sha1("".join(sorted(hashlib.sha1(data).hexdigest() for data in files.values()))
                        .encode()).hexdigest()
    described = document["packages"][0]
    if described["packageVerificationCode"]["packageVerificationCodeValue"] != code:
        yield "wrong verification code"
    with open(package, "rb") as deb:
        if described["checksums"][1]["checksumValue"] != hashlib.sha256(deb.read()).hexdigest():
            yield "wrong SHA256 of the package"


def main(path, package):
    with open(path, encoding="utf-8") as text:
        document = json.load(text)
    wrong = list(structure(document))
    if not wrong: # the other checks need the structure
        wrong = [*identifiers(document), *licences(document), *contents(document, package)]
    for line in wrong:
        print(f"{path}: {line}", file=sys.stderr)
    return 1 if wrong else 0


sys.exit(main(*sys.argv[1:]))
