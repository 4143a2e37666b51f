#!/usr/bin/env python3
"""Rewrites the seed corpora of the fuzz targets (fuzz/corpus/<target>/) from the project's own inputs:
the demo chip (examples/demo), the example expressions (examples/expressions.txt), the XML fixtures
written inline in the loader tests (tests/loader/*.cpp) and the stand-alone documents of the W3C XML
conformance suite (../shared/xmlconf/xmltest, when it is there). Run it from anywhere after changing
those; it deletes and rewrites the three corpus directories and nothing else. It also adds SVD seeds to
corpus/svd: slices of the vendor files in VELLXML_SHARED_DIR/svd (default ../shared/svd beside the clone)
and hostile cases; the hand-written seeds there stay."""

import hashlib
import os
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


def svd_seeds():
    """Adds to corpus/svd (without deleting the hand-written seeds there): small peripherals cut out of the
    vendor SVD files of the shared directory, each wrapped in a device of its own, and hostile cases."""
    svd = CORPUS / "svd"
    svd.mkdir(parents=True, exist_ok=True)
    shared = pathlib.Path(os.environ.get("VELLXML_SHARED_DIR", ROOT.parent / "shared")) / "svd"
    peripheral = re.compile(rb"<peripheral\b.*?</peripheral>", re.S)
    for path in sorted(shared.glob("*.svd")):
        text = path.read_bytes()
        cpu = re.search(rb"<cpu>.*?</cpu>", text, re.S)
        head = b"<?xml version=\"1.0\"?>\n<device><name>" + path.stem.encode() + b"</name>" + (
            cpu.group(0) if cpu and len(cpu.group(0)) < 600 else b"") + b"<size>32</size><access>read-write</access>" \
            b"<resetValue>0</resetValue><resetMask>0xFFFFFFFF</resetMask>\n<peripherals>\n"
        tail = b"\n</peripherals></device>\n"
        found = peripheral.findall(text)
        plain = [p for p in found if b"derivedFrom" not in p[:200] and len(p) < 3000]
        # Kinds of content that differ between vendors: the smallest peripheral, one with fields and
        # enumerated values, one with a cluster or a dim, and a peripheral derived from another.
        picks = []
        if plain:
            picks.append(("small", [min(plain, key=len)]))
        for stem, needle in (("values", b"<enumeratedValue>"), ("cluster", b"<cluster>"), ("dim", b"<dim>")):
            having = [p for p in plain if needle in p]
            if having:
                picks.append((stem, [max(having, key=len)]))
        names = {re.search(rb"<name>\s*(.*?)\s*</name>", p).group(1): p for p in found}
        for p in found:
            base = re.match(rb"<peripheral[^>]*derivedFrom=\"([^\"]*)\"", p)
            if base and base.group(1) in names and len(names[base.group(1)]) + len(p) < 3500:
                picks.append(("derived", [names[base.group(1)], p]))
                break
        written = set()
        for stem, parts in picks:
            if id(parts[-1]) not in written:
                written.add(id(parts[-1]))
                put(svd, path.stem + "-" + stem, head + b"\n".join(parts) + tail)

    def device(body, extra=""):
        return ("<?xml version=\"1.0\"?>\n<device><name>t</name>" + extra + "<peripherals>\n" + body
                + "\n</peripherals></device>\n")

    def peripheral_of(registers, name="P", attributes=""):
        return ("<peripheral" + attributes + "><name>" + name + "</name><baseAddress>0x40000000</baseAddress>"
                "<registers>" + registers + "</registers></peripheral>")

    def register(name, offset="0", inner="", attributes=""):
        return ("<register" + attributes + "><name>" + name + "</name><addressOffset>" + offset
                + "</addressOffset>" + inner + "</register>")

    def field(name, position, inner=""):
        return "<field><name>" + name + "</name>" + position + inner + "</field>"

    hostile = {
        "cycle-peripherals": device(
            "<peripheral derivedFrom=\"Q\"><name>P</name><baseAddress>0</baseAddress></peripheral>"
            "<peripheral derivedFrom=\"P\"><name>Q</name><baseAddress>0x100</baseAddress></peripheral>"),
        "cycle-self": device(peripheral_of(register("A", attributes=" derivedFrom=\"A\""))),
        "cycle-fields": device(peripheral_of(register("A", inner="<fields>"
            "<field derivedFrom=\"G\"><name>F</name><bitRange>[1:0]</bitRange></field>"
            "<field derivedFrom=\"F\"><name>G</name><bitRange>[3:2]</bitRange></field></fields>"))),
        "cycle-values": device(peripheral_of(register("A", inner="<fields>" + field("F", "<bitRange>[1:0]</bitRange>",
            "<enumeratedValues derivedFrom=\"P.A.F.V\"><name>V</name></enumeratedValues>") + "</fields>"))),
        "derivation-chain": device("".join(
            "<peripheral" + (" derivedFrom=\"P%d\"" % (i - 1) if i else "") + "><name>P%d</name>"
            "<baseAddress>0x%x</baseAddress>%s</peripheral>" % (i, 0x1000 * i,
                "<registers>" + register("R") + "</registers>" if i == 0 else "") for i in range(40))),
        "huge-dim": device(peripheral_of(register("R%s", inner="<dim>4294967296</dim><dimIncrement>4</dimIncrement>"))),
        "dim-zero-increment": device(peripheral_of(register("R%s", inner="<dim>1000</dim><dimIncrement>0</dimIncrement>"))),
        "dim-product": device(peripheral_of(
            "<cluster><name>C%s</name><dim>1000</dim><dimIncrement>0x10000</dimIncrement><addressOffset>0</addressOffset>"
            "<cluster><name>D%s</name><dim>1000</dim><dimIncrement>0x10</dimIncrement><addressOffset>0</addressOffset>"
            + register("R%s", inner="<dim>4</dim><dimIncrement>4</dimIncrement>") + "</cluster></cluster>")),
        "dim-index-ranges": device(peripheral_of(
            register("A%s", inner="<dim>3</dim><dimIncrement>4</dimIncrement><dimIndex>0-4294967295</dimIndex>")
            + register("B%s", "0x10", "<dim>26</dim><dimIncrement>4</dimIncrement><dimIndex>Z-A</dimIndex>")
            + register("C%s", "0x100", "<dim>3</dim><dimIncrement>4</dimIncrement><dimIndex>5-3</dimIndex>")
            + register("D%s", "0x200", "<dim>3</dim><dimIncrement>4</dimIncrement><dimIndex>x,,y</dimIndex>")
            + register("E[%s]", "0x300", "<dim>2</dim><dimIncrement>4</dimIncrement><dimIndex>18446744073709551615-0</dimIndex>"))),
        "deep-clusters": device(peripheral_of(
            "<cluster><name>C</name><addressOffset>0</addressOffset>" * 40 + register("R")
            + "</cluster>" * 40)),
        "deep-elements": device(peripheral_of(register("R", inner="<x>" * 400 + "</x>" * 400))),
        "bit-ranges": device(peripheral_of(register("R", inner="<fields>"
            + field("A", "<bitRange>[63:0]</bitRange>") + field("B", "<bitRange>[4294967296:0]</bitRange>")
            + field("C", "<lsb>64</lsb><msb>64</msb>") + field("D", "<bitOffset>63</bitOffset><bitWidth>64</bitWidth>")
            + field("E", "<bitOffset>0</bitOffset><bitWidth>0</bitWidth>")
            + field("F%s", "<bitOffset>60</bitOffset><bitWidth>2</bitWidth><dim>8</dim><dimIncrement>2</dimIncrement>")
            + field("G", "<bitRange>[ 3 : 1 ]\n</bitRange>") + field("H", "<lsb>5</lsb><msb>2</msb>")
            + "</fields>"))),
        "numbers": device(peripheral_of(
            register("A", "0xFFFFFFFFFFFFFFFFFF") + register("B", "99999999999999999999")
            + register("C", "0xFFFFFFFFFG") + register("D", "0xFFFFFFFF", "<size>64</size>")
            + register("E", "4", "<size>0</size><resetValue>0x10000000000000000</resetValue>")
            + register("F", "8", "<resetValue>#1x0x</resetValue><resetMask>0b</resetMask>"))
            + "<peripheral><name>Q</name><baseAddress>0xFFFFFFFF</baseAddress><registers>"
            + register("R", "0xFFFFFFFF") + "</registers></peripheral>"),
        "dont-care-values": device(peripheral_of(register("R", inner="<fields>" + field("F", "<bitRange>[31:0]</bitRange>",
            "<enumeratedValues><enumeratedValue><name>ANY</name><value>#xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx</value></enumeratedValue>"
            "<enumeratedValue><name>FEW</name><value>0bxx1x</value></enumeratedValue>"
            "<enumeratedValue><name>few</name><value>0x1</value></enumeratedValue>"
            "<enumeratedValue><name>DEF</name><isDefault>true</isDefault></enumeratedValue>"
            "</enumeratedValues>") + "</fields>"))),
        "interrupts": device("<peripheral><name>P</name><baseAddress>0</baseAddress>"
            "<interrupt><name>I</name><value>4294967295</value></interrupt>"
            "<interrupt><name>I</name><value>1</value></interrupt></peripheral>"),
    }
    for stem, text in hostile.items():
        put(svd, stem, text)


if __name__ == "__main__":
    main()
    svd_seeds()
