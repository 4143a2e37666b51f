#!/usr/bin/env python3
"""Rewrites the seed corpora of the fuzz targets (fuzz/corpus/<target>/) from the project's own inputs:
the demo chip (examples/demo), the example expressions (examples/expressions.txt), the XML fixtures
written inline in the loader tests (tests/loader/*.cpp) and the stand-alone documents of the W3C XML
conformance suite (../shared/xmlconf/xmltest, when it is there). Run it from anywhere after changing
those; it deletes and rewrites the three corpus directories and nothing else."""

import hashlib
import pathlib
import re
import shutil

ROOT = pathlib.Path(__file__).resolve().parent.parent
DEMO = ROOT / "examples" / "demo"
CORPUS = ROOT / "fuzz" / "corpus"
XMLTEST = ROOT.parent / "shared" / "xmlconf" / "xmltest"


def fresh(target):
    directory = CORPUS / target
    if directory.exists():
        shutil.rmtree(directory)
    directory.mkdir(parents=True)
    return directory


def put(directory, stem, data):
    if isinstance(data, str):
        data = data.encode("utf-8")
    digest = hashlib.sha1(data).hexdigest()[:10]
    (directory / f"{stem}-{digest}").write_bytes(data)


def demo_files():
    """(name as the chip includes it, text): intc is included as the encrypted intc.xmd."""
    files = []
    for path in sorted(DEMO.rglob("*.xml")):
        name = path.relative_to(DEMO).as_posix()
        if name == "intc.xml":
            name = "intc.xmd"
        files.append((name, path.read_bytes()))
    files.sort(key=lambda item: item[0] != "chip.xml")
    return files


def test_fixtures():
    """XML written inline in the loader tests: runs of adjacent C++ string literals holding a tag."""
    literal = re.compile(r'"((?:[^"\\\n]|\\.)*)"')
    escapes = {"n": "\n", "t": "\t", '"': '"', "\\": "\\", "'": "'", "r": "\r", "0": "\0"}
    fixtures = []
    for path in sorted((ROOT / "tests" / "loader").glob("*.cpp")):
        source = path.read_text(encoding="utf-8")
        pieces, last_end = [], None
        for match in literal.finditer(source):
            between = source[last_end:match.start()] if last_end is not None else None
            text = re.sub(r"\\(.)", lambda m: escapes.get(m.group(1), m.group(1)), match.group(1))
            if between is not None and between.strip() == "":
                pieces[-1] += text
            else:
                pieces.append(text)
            last_end = match.end()
        for text in pieces:
            if re.search(r"<[A-Za-z]", text) and len(text) > 12:
                fixtures.append(text)
    return fixtures


def archive_of(text):
    stripped = text.lstrip()
    if stripped.startswith("<?xml") or re.match(r"<(archive|bigarchive|module|chip|soft)\b", stripped, re.I):
        return text
    return "<archive>\n" + text + "\n</archive>\n"


def main():
    demo = demo_files()
    fixtures = test_fixtures()

    loader = fresh("loader")
    put(loader, "demo-chip", b"".join(b"@@ " + name.encode() + b"\n" + text for name, text in demo))
    for name, text in demo:
        put(loader, "demo-" + pathlib.Path(name).stem, text)
    for text in fixtures:
        put(loader, "test", archive_of(text))
    # A root including one file of each kind: a plain archive, an encrypted one and a raw served one.
    put(loader, "includes", "@@ chip.xml\n<archive><include file=\"a.xml\"/><include file=\"b.xmd\"/>"
        "<include file=\"c.xmd\" optional=\"yes\"/></archive>\n"
        "@@ a.xml\n<archive><var name=\"A\" value=\"1\"/></archive>\n"
        "@@ b.xmd\n<archive><module name=\"M\"><reg32 name=\"R\"/></module>"
        "<instance name=\"I\" type=\"M\" address=\"0x1000\"/></archive>\n"
        "@@! c.xmd\nEXML\x01\x00\x10\x00\x00\x00garbage\n")

    document = fresh("document")
    for name, text in demo:
        put(document, "plain-" + pathlib.Path(name).stem, text)
        put(document, "encrypted-" + pathlib.Path(name).stem, b"E" + text)
    for text in fixtures:
        put(document, "test", archive_of(text))
    put(document, "utf16", b"\xff\xfe" + "<archive><comment>\u00e9t\u00e9</comment></archive>".encode("utf-16-le"))
    put(document, "latin1", b"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><archive>\xe9</archive>")
    put(document, "doctype", "<!DOCTYPE archive [<!ENTITY a \"x\">]><archive>&a;</archive>")
    # The reader's paths for document types, entities, references, CDATA and encodings: the suite's
    # stand-alone documents, well-formed and not.
    for kind in ("valid/sa", "not-wf/sa"):
        for path in sorted((XMLTEST / kind).glob("*.xml")):
            put(document, "xmltest-" + kind.split("/")[0], path.read_bytes())
    # The same paths inside archives that the loader interprets.
    put(loader, "doctype", "<?xml version=\"1.0\"?>\n<!DOCTYPE archive SYSTEM \"archive.dtd\" [\n"
        "<!ENTITY base \"0x4000\">\n<!ENTITY regs \"<reg32 name='R'><bits name='B' pos='3:0'/></reg32>\">\n"
        "<!ENTITY outside SYSTEM \"outside.ent\">\n<!ATTLIST reg32 access CDATA \"rw\">\n]>\n"
        "<archive><var name=\"B\" value=\"&base; + 1\"/><module name=\"M\">&regs;&outside;"
        "<![CDATA[text]]></module><instance name=\"I\" type=\"M\" address=\"&base;\"/></archive>\n")
    put(loader, "entities", "<!DOCTYPE archive [<!ENTITY a \"aaaaaaaaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;\">"
        "<!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;\">]>\n<archive><comment>&c;&#x20AC;&#65;</comment></archive>\n")

    expression = fresh("expression")
    for line in (ROOT / "examples" / "expressions.txt").read_text(encoding="utf-8").splitlines():
        if not line.startswith('"'):
            continue
        expr = line[1:line.index('"', 1)]
        variables = re.findall(r"--var (\S+)", line)
        put(expression, "example", "\n".join(variables + [expr]))
    for text in ("sin(pi/2)", "'a' + 1", "\"ab\" + \"c\"", "1 ? 2 : 3", "0b1010 | 0x5", "exp2(N) * BASE",
                 "1.5e3 / 0", "~0 >> 31", "!(1 < 2) || (3 >= 3) && 4 != 5 ^ 6 % 4"):
        put(expression, "operator", text)


if __name__ == "__main__":
    main()
