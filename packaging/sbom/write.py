"""write.py PACKAGE.deb DEP5: writes PACKAGE.spdx.json, the bill of materials in SPDX 2.3."""
import hashlib
import io
import json
import os
import re
import subprocess
import sys
import tarfile
import time
import uuid

NO_ASSERTION = "NOASSERTION"


def field_of(package, name):
    return subprocess.run(["dpkg-deb", "-f", package, name], check=True, capture_output=True,
                          text=True).stdout.strip()


def value_in(dep5, name):
    with open(dep5, encoding="utf-8") as text:
        return re.search(rf"^{name}: (.*)$", text.read(), re.M).group(1)


def checksums(data):
    return [{"algorithm": "SHA1", "checksumValue": hashlib.sha1(data).hexdigest()},
            {"algorithm": "SHA256", "checksumValue": hashlib.sha256(data).hexdigest()}]


def installed_files(package):
    """(name, bytes, comment, time) of each file and symbolic link, in the order of their names."""
    archive = subprocess.run(["dpkg-deb", "--fsys-tarfile", package], check=True,
                             capture_output=True).stdout
    found = []
    with tarfile.open(fileobj=io.BytesIO(archive)) as tar:
        for member in tar:
            if member.isfile() or member.islnk():
                found.append((member.name, tar.extractfile(member).read(), None, member.mtime))
            elif member.issym():
                found.append((member.name, member.linkname.encode(),
                              f"A symbolic link to {member.linkname}. The checksums are of this path.",
                              member.mtime))
    return sorted(found)


def file_elements(package, licence):
    elements = []
    for number, (name, data, comment, _) in enumerate(installed_files(package)):
        element = {"SPDXID": f"SPDXRef-File-{number}", "fileName": name,
                   "checksums": checksums(data), "licenseConcluded": NO_ASSERTION,
                   "licenseInfoInFiles": [licence], "copyrightText": NO_ASSERTION}
        if comment:
            element["comment"] = comment
        elements.append(element)
    return elements


def verification_code(elements):
    sums = sorted(element["checksums"][0]["checksumValue"] for element in elements)
    return hashlib.sha1("".join(sums).encode()).hexdigest()


def dependencies(package):
    """The names in Depends and Pre-Depends; of alternatives the first."""
    listed = field_of(package, "Depends") + "," + field_of(package, "Pre-Depends")
    return sorted({re.match(r"[a-z0-9][a-z0-9+.-]+", one.strip()).group()
                   for one in listed.split(",") if one.strip()})


def other_package(identifier, name, version, download=NO_ASSERTION):
    return {"SPDXID": identifier, "name": name, "versionInfo": version, "downloadLocation": download,
            "filesAnalyzed": False, "licenseConcluded": NO_ASSERTION,
            "licenseDeclared": NO_ASSERTION, "copyrightText": NO_ASSERTION}


def source_archive(package, version, licence, copyright_text):
    upstream = version.rsplit("-", 1)[0]
    name = f"applist_{upstream}.orig.tar.xz"
    element = other_package("SPDXRef-Source", "applist", upstream)
    element.update(packageFileName=name, licenseDeclared=licence, copyrightText=copyright_text)
    path = os.path.join(os.path.dirname(package), name)
    if os.path.exists(path):
        with open(path, "rb") as archive:
            element["checksums"] = checksums(archive.read())
    return element


def document(package, dep5):
    name, version = field_of(package, "Package"), field_of(package, "Version")
    licence, copyright_text = value_in(dep5, "License"), value_in(dep5, "Copyright")
    maintainer = re.sub(r" <(.*)>", r" (\1)", field_of(package, "Maintainer"))
    files = file_elements(package, licence)
    with open(package, "rb") as deb:
        sums = checksums(deb.read())
    described = {
        "SPDXID": "SPDXRef-Package", "name": name, "versionInfo": version,
        "packageFileName": os.path.basename(package), "supplier": f"Organization: {maintainer}",
        "downloadLocation": NO_ASSERTION, "filesAnalyzed": True, "checksums": sums,
        "packageVerificationCode": {"packageVerificationCodeValue": verification_code(files)},
        "licenseConcluded": NO_ASSERTION, "licenseInfoFromFiles": [licence],
        "licenseDeclared": licence, "copyrightText": copyright_text,
        "summary": field_of(package, "Description").splitlines()[0],
        "externalRefs": [{"referenceCategory": "PACKAGE-MANAGER", "referenceType": "purl",
                          "referenceLocator": f"pkg:generic/{name}@{version}"
                                              f"?arch={field_of(package, 'Architecture')}"}]}
    source = source_archive(package, version, licence, copyright_text)
    packages = [described, source]
    links = [("SPDXRef-DOCUMENT", "DESCRIBES", "SPDXRef-Package"),
             ("SPDXRef-Package", "GENERATED_FROM", "SPDXRef-Source")]
    links += [("SPDXRef-Package", "CONTAINS", element["SPDXID"]) for element in files]
    for other in dependencies(package):
        identifier = "SPDXRef-Depends-" + other.replace("+", "-plus")
        packages.append(other_package(identifier, other, NO_ASSERTION))
        links.append(("SPDXRef-Package", "DEPENDS_ON", identifier))
    newest = max(mtime for *_, mtime in installed_files(package))
    identity = uuid.uuid5(uuid.NAMESPACE_URL, sums[1]["checksumValue"])
    whole = {
        "spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT",
        "name": f"{name}-{version}",
        "documentNamespace": f"https://spdx.org/spdxdocs/{name}-{version}-{identity}",
        "creationInfo": {"created": time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(newest)),
                         "creators": [f"Organization: {maintainer}", "Tool: applist-sbom-1"]},
        "packages": packages, "files": files,
        "relationships": [{"spdxElementId": one, "relationshipType": kind, "relatedSpdxElement": two}
                          for one, kind, two in links]}
    if licence.startswith("LicenseRef-"):
        text_path = os.path.join(os.path.dirname(dep5), "..", "LICENSES", licence + ".txt")
        with open(text_path, encoding="utf-8") as text:
            whole["hasExtractedLicensingInfos"] = [{"licenseId": licence, "name": licence,
                                                    "extractedText": text.read()}]
    return whole


def main(package, dep5):
    with open(re.sub(r"\.deb$", ".spdx.json", package), "w", encoding="utf-8") as output:
        json.dump(document(package, dep5), output, indent=1)
        output.write("\n")


main(*sys.argv[1:])
