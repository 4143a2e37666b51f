// The importer on small descriptions: the notations vendors use, what becomes of what our format cannot
// hold, and hostile files refused with a positioned error.

#include "loader/loader_support.h"

#include <vellxml/loader/memory_map.h>
#include <vellxml/model/bitfield.h>
#include <vellxml/model/valuable.h>
#include <vellxml/svd/svd_import.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

/// "<path>:<line>:<column>: <severity>: <text>" for the first occurrence of `marker` in `svd`.
std::string positioned(
    const QByteArray& svd, const QByteArray& marker, const char* severity, const QString& text)
{
    const int offset = svd.indexOf(marker);
    EXPECT_GE(offset, 0) << marker.toStdString();
    const int line = svd.left(offset).count('\n') + 1;
    const int column = offset - (svd.lastIndexOf('\n', offset - 1) + 1) + 1;
    return QStringLiteral("t.svd:%1:%2: %3: %4")
        .arg(line)
        .arg(column)
        .arg(QLatin1String(severity), text)
        .toStdString();
}

QByteArray device(const QByteArray& peripherals, const QByteArray& head = QByteArray())
{
    return "<?xml version=\"1.0\"?>\n<device><name>t</name>" + head + "\n<peripherals>\n" + peripherals
        + "\n</peripherals></device>\n";
}

const QByteArray kFeatures =
    device(R"(<peripheral><name>TIM0</name><groupName>TIM</groupName><baseAddress>0x40000000</baseAddress>
<interrupt><name>TIM0</name><value>5</value></interrupt>
<registers>
<register><name>CR</name><addressOffset>0</addressOffset><resetValue>0x12345678</resetValue><fields>
 <field><name>EN</name><bitOffset>0</bitOffset><bitWidth>1</bitWidth></field>
 <field><name>MODE</name><lsb>1</lsb><msb>3</msb><enumeratedValues><name>MODES</name>
  <enumeratedValue><name>IDLE</name><value>0</value></enumeratedValue>
  <enumeratedValue><name>RUN</name><value>#1x1</value></enumeratedValue>
  <enumeratedValue><name>OTHER</name><isDefault>true</isDefault></enumeratedValue></enumeratedValues></field>
 <field><name>FLAG</name><bitRange>[8:8]</bitRange><modifiedWriteValues>oneToClear</modifiedWriteValues></field>
 <field><name>SET</name><bitRange>[9:9]</bitRange><access>write-only</access><modifiedWriteValues>oneToSet</modifiedWriteValues></field>
 <field><name>TGL</name><bitRange>[10:10]</bitRange><modifiedWriteValues>oneToToggle</modifiedWriteValues><readAction>clear</readAction></field>
 <field derivedFrom="MODE"><name>MODE2</name><lsb>12</lsb><msb>14</msb></field>
 <field><name>CH%s</name><bitOffset>16</bitOffset><bitWidth>2</bitWidth><dim>2</dim><dimIncrement>2</dimIncrement><dimIndex>A,B</dimIndex></field>
 <field><name>LEVEL</name><bitRange>[23:20]</bitRange><enumeratedValues><usage>read</usage><enumeratedValue><name>LOW</name><value>1</value></enumeratedValue></enumeratedValues><enumeratedValues><usage>write</usage><enumeratedValue><name>LOW</name><value>2</value></enumeratedValue></enumeratedValues></field>
</fields></register>
<register><name>CNT</name><addressOffset>0x4</addressOffset><size>16</size><access>read-only</access><resetValue>0xFFFF</resetValue></register>
<register><name>CCR[%s]</name><addressOffset>0x8</addressOffset><dim>4</dim><dimIncrement>4</dimIncrement></register>
<register><name>DR%s</name><addressOffset>0x18</addressOffset><size>8</size><dim>3</dim><dimIncrement>4</dimIncrement><dimIndex>X-Z</dimIndex></register>
<register><name>CMD</name><alternateRegister>CR</alternateRegister><addressOffset>0</addressOffset><access>write-only</access></register>
<cluster><name>CH[%s]</name><dim>2</dim><dimIncrement>0x10</dimIncrement><addressOffset>0x40</addressOffset>
 <register><name>CFG</name><addressOffset>0</addressOffset><resetValue>7</resetValue></register>
 <cluster><name>SUB</name><addressOffset>0x8</addressOffset><register><name>X</name><addressOffset>0x2</addressOffset><size>16</size></register></cluster>
</cluster>
<cluster derivedFrom="CH[%s]"><name>DUP%s</name><dim>2</dim><dimIncrement>0x20</dimIncrement><addressOffset>0x80</addressOffset></cluster>
<register><name>WIDE</name><addressOffset>0xC0</addressOffset><size>24</size></register>
<register><name>SCALED</name><addressOffset>1k</addressOffset><resetMask>0xFF</resetMask><resetValue>0x1234</resetValue></register>
</registers></peripheral>
<peripheral derivedFrom="TIM0"><name>TIM1</name><baseAddress>0x40001000</baseAddress></peripheral>
<peripheral><name>GPIO%s</name><dim>2</dim><dimIncrement>0x100</dimIncrement><dimIndex>A-B</dimIndex><baseAddress>0x50000000</baseAddress>
<registers><register><name>ODR</name><addressOffset>0</addressOffset><fields><field><name>P</name><bitRange>[3:1]</bitRange><enumeratedValues derivedFrom="TIM0.CR.MODE.MODES"/></field></fields></register></registers></peripheral>)",
        "<cpu><name>CM4</name><revision>r0p1</revision><mpuPresent>true</mpuPresent><nvicPrioBits>3</"
        "nvicPrioBits></cpu>"
        "<size>32</size><resetValue>0</resetValue>");

class SvdImport : public loadertest::Fixture {
protected:
    /// Imports `svd` into the test directory and loads the result into m_map.
    bool importAndLoad(const QByteArray& svd)
    {
        const QString file = write(QStringLiteral("t.svd"), svd);
        QDir::setCurrent(path(QString()));
        if (!importSvdFile(
                QStringLiteral("t.svd"), QStringLiteral("out"), loadertest::onError, loadertest::onWarning))
            return false;
        return m_loader.loadRootArchiveFromFile(
                   &m_map, path(QStringLiteral("out/chip.xml")), nullptr, loadertest::onError, nullptr, true)
            != nullptr;
    }

    HwMemoryMap m_map;
    HwMemoryMapLoader m_loader;
};

TEST_F(SvdImport, NotationsOfVendorsGiveTheirRegisters)
{
    ASSERT_TRUE(importAndLoad(kFeatures));
    EXPECT_EQ(loadertest::messages().error, std::vector<std::string> {});
    EXPECT_EQ(loadertest::messages().warning,
        (std::vector<std::string> {positioned(kFeatures, "<register><name>WIDE", "warning",
            QStringLiteral("Register 'WIDE' of 24 bits is written as a 32-bit register."))}));
    // path, address, bit size (0 for a field), access of a field or protection of a register, reset ("-":
    // none)
    struct Row {
        const char* path;
        unsigned address;
        unsigned bits;
        const char* access;
        const char* reset;
    };
    const Row rows[] = {
        {"TIM0.CR.EN", 0x40000000, 1, "rw", "0"},
        {"TIM0.CR.MODE", 0x40000000, 3, "rw", "0x4"},
        {"TIM0.CR.FLAG", 0x40000000, 1, "rc", "0"},
        {"TIM0.CR.SET", 0x40000000, 1, "-s", "1"},
        {"TIM0.CR.TGL", 0x40000000, 1, "rw", "1"},
        {"TIM0.CR.MODE2", 0x40000000, 3, "rw", "0x5"},
        {"TIM0.CR.CHA", 0x40000000, 2, "rw", "0"},
        {"TIM0.CR.CHB", 0x40000000, 2, "rw", "1"},
        {"TIM0.CNT", 0x40000004, 16, "r-", ""},
        {"TIM0.CNT.VALUE", 0x40000004, 16, "r-", "0xFFFF"},
        {"TIM0.CCR[3]", 0x40000014, 32, "rw", ""},
        {"TIM0.DRZ", 0x40000020, 8, "rw", ""},
        {"TIM0_ALT1.CMD", 0x40000000, 32, "-w", ""},
        {"TIM0.CH[1].CFG.VALUE", 0x40000050, 32, "rw", "0x7"},
        {"TIM0.CH[1].SUB.X", 0x4000005A, 16, "rw", ""},
        {"TIM0.DUP1.SUB.X", 0x400000AA, 16, "rw", ""},
        {"TIM0.WIDE", 0x400000C0, 32, "rw", ""},
        {"TIM0.SCALED", 0x40000400, 32, "rw", ""},
        {"TIM1.CH[0].SUB.X", 0x4000104A, 16, "rw", ""},
        {"TIM1_ALT1.CMD", 0x40001000, 32, "-w", ""},
        {"GPIOB.ODR.P", 0x50000100, 3, "rw", "0"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.path);
        const HwXMLElement* element = m_map.getElementFromPath(QString::fromUtf8(row.path));
        ASSERT_NE(element, nullptr);
        EXPECT_EQ(element->getBaseAddress(), row.address);
        if (const auto* field = dynamic_cast<const HwBitField*>(element)) {
            EXPECT_EQ(unsigned(field->getUpPos() - field->getDownPos() + 1), row.bits);
            EXPECT_EQ(field->getAccessString(), QLatin1String(row.access));
            EXPECT_EQ(field->getResetString(DISPLAY_HEX), QLatin1String(row.reset));
        } else {
            const auto* reg = dynamic_cast<const HwValuable*>(element);
            ASSERT_NE(reg, nullptr);
            EXPECT_EQ(reg->getBitSize(), row.bits);
            EXPECT_EQ(reg->getProtectString(), QLatin1String(row.access));
        }
    }
}

TEST_F(SvdImport, EnumeratedValuesBecomeOptions)
{
    ASSERT_TRUE(importAndLoad(kFeatures));
    // field path, its options as NAME=VALUE, the end of its comment
    struct Row {
        const char* path;
        const char* options;
        const char* comment;
    };
    const Row rows[] = {
        // x bits: one option per value matched; a default value goes to the comment.
        {"TIM0.CR.MODE", "IDLE=0 RUN=5 RUN_7=7", "Other values: OTHER."},
        {"TIM0.CR.MODE2", "IDLE=0 RUN=5 RUN_7=7", "Other values: OTHER."},
        {"TIM0.CR.LEVEL", "LOW=1 LOW_2=2", ""},
        {"TIM0.CR.TGL", "", "Writes: oneToToggle. Reading: clear."},
        {"GPIOA.ODR.P", "IDLE=0 RUN=5 RUN_7=7", "Other values: OTHER."},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.path);
        const auto* field =
            dynamic_cast<const HwBitField*>(m_map.getElementFromPath(QString::fromUtf8(row.path)));
        ASSERT_NE(field, nullptr);
        QStringList options;
        for (const HwBitFieldOption& option : field->getOptions())
            options.append(QStringLiteral("%1=%2").arg(option.name).arg(option.value));
        EXPECT_EQ(options.join(QLatin1Char(' ')), QLatin1String(row.options));
        if (*row.comment == 0)
            EXPECT_EQ(field->getComment(), QString());
        else
            EXPECT_TRUE(field->getComment().endsWith(QLatin1String(row.comment)))
                << field->getComment().toStdString();
    }
}

TEST_F(SvdImport, HostileFilesAreRefusedWithAPositionedError)
{
    QByteArray deep = "<peripheral><name>P</name><baseAddress>0</baseAddress><registers>";
    for (int i = 0; i < 40; ++i)
        deep += i == 32 ? "<cluster><name>DEEP</name><addressOffset>0</addressOffset>"
                        : "<cluster><name>C</name><addressOffset>0</addressOffset>";
    deep += "<register><name>R</name><addressOffset>0</addressOffset></register>";
    for (int i = 0; i < 40; ++i)
        deep += "</cluster>";
    deep += "</registers></peripheral>";
    const QByteArray p = "<peripheral><name>P</name><baseAddress>0x1000</baseAddress><registers>";
    const QByteArray e = "</registers></peripheral>";
    struct Row {
        const char* what;
        QByteArray svd;
        QByteArray blamed; // the element the message points at (empty: no position)
        QString text;
    };
    const std::vector<Row> rows = {
        {"bad number",
            device(p + "<register><name>R</name><addressOffset>0x12G4</addressOffset></register>" + e),
            "<addressOffset>0x12G4", QStringLiteral("'0x12G4' of <addressOffset> is not a number.")},
        {"number beyond 64 bits",
            device(p
                + "<register><name>R</name><addressOffset>0</addressOffset><resetValue>0x1FFFFFFFFFFFFFFFF</"
                  "resetValue></register>"
                + e),
            "<resetValue>", QStringLiteral("'0x1FFFFFFFFFFFFFFFF' of <resetValue> is not a number.")},
        {"dim of 10^9",
            device(p
                + "<register><name>R%s</name><dim>1000000000</dim><dimIncrement>4</"
                  "dimIncrement><addressOffset>0</addressOffset></register>"
                + e),
            "<dim>", QStringLiteral("dim 1000000000 is larger than the limit of 65536.")},
        {"dim without increment",
            device(
                p + "<register><name>R%s</name><dim>2</dim><addressOffset>0</addressOffset></register>" + e),
            "<dim>", QStringLiteral("dim without dimIncrement.")},
        {"cyclic derivedFrom",
            device(p
                + "<register "
                  "derivedFrom=\"B\"><name>A</name><addressOffset>0</addressOffset></register><register "
                  "derivedFrom=\"A\"><name>B</name><addressOffset>4</addressOffset></register>"
                + e),
            "<register derivedFrom=\"A\"", QStringLiteral("derivedFrom 'A' is cyclic.")},
        {"cyclic peripherals",
            device("<peripheral "
                   "derivedFrom=\"Q\"><name>P</name><baseAddress>0</baseAddress></peripheral><peripheral "
                   "derivedFrom=\"P\"><name>Q</name><baseAddress>0</baseAddress></peripheral>"),
            "<peripheral derivedFrom=\"P\"", QStringLiteral("derivedFrom 'P' is cyclic.")},
        {"deep clusters", device(deep), "<cluster><name>DEEP",
            QStringLiteral("Clusters are nested deeper than 32 levels.")},
        {"base beyond 32 bits",
            device("<peripheral><name>P</name><baseAddress>0x1FFFFFFFF</baseAddress></peripheral>"),
            "<baseAddress>", QStringLiteral("Base address 1ffffffff is beyond 32 bits.")},
        {"register of 64 bits",
            device(
                p + "<register><name>R</name><addressOffset>0</addressOffset><size>64</size></register>" + e),
            "<register>",
            QStringLiteral("Register 'R' of 64 bits: registers wider than 32 bits cannot be represented.")},
        {"reversed bit range",
            device(p
                + "<register><name>R</name><addressOffset>0</addressOffset><fields><field><name>F</"
                  "name><lsb>7</lsb><msb>3</msb></field></fields></register>"
                + e),
            "<field>", QStringLiteral("Field 'F' has the bit range [3:7].")},
        {"no bit range",
            device(p
                + "<register><name>R</name><addressOffset>0</addressOffset><fields><field><name>F</name></"
                  "field></fields></register>"
                + e),
            "<field>", QStringLiteral("Field 'F' has no bit range.")},
        {"no offset", device(p + "<register><name>R</name></register>" + e), "<register>",
            QStringLiteral("Register 'R' has no addressOffset.")},
        {"not a device", "<?xml version=\"1.0\"?>\n<module/>\n", "<module",
            QStringLiteral("The document element is <module>, not <device>.")},
        {"document type", "<?xml version=\"1.0\"?>\n<!DOCTYPE device [<!ENTITY a \"aaaa\">]>\n<device/>\n",
            "<!DOCTYPE", QStringLiteral("A document type declaration is not allowed.")},
        {"misaligned in a cluster",
            device(p
                + "<cluster><name>C</name><addressOffset>0</addressOffset><register><name>R</"
                  "name><addressOffset>2</addressOffset></register></cluster>"
                + e),
            "",
            QStringLiteral(
                "'R' at offset 0x2 of its cluster is not aligned to its size and cannot be represented.")},
        {"copies of copies",
            device(p
                + "<cluster><name>A%s</name><dim>60000</dim><dimIncrement>0x10000</"
                  "dimIncrement><addressOffset>0</addressOffset><cluster><name>B%s</name><dim>60000</"
                  "dim><dimIncrement>4</dimIncrement><addressOffset>0</addressOffset><register><name>R</"
                  "name><addressOffset>0</addressOffset></register></cluster></cluster>"
                + e),
            "<cluster><name>A%s",
            QStringLiteral("The description has more than 4194304 registers and fields.")},
        {"too many registers",
            device(p
                + "<cluster><name>C[%s]</name><dim>60000</dim><dimIncrement>0x40000</"
                  "dimIncrement><addressOffset>0</addressOffset><register><name>R[%s]</name><dim>60000</"
                  "dim><dimIncrement>4</dimIncrement><addressOffset>0</addressOffset></register></cluster>"
                + e),
            "", QStringLiteral("The description has more than 4194304 registers and fields.")},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        loadertest::messages() = loadertest::Messages();
        QList<QPair<QString, QByteArray>> files;
        EXPECT_FALSE(convertSvd(row.svd, QStringLiteral("t.svd"), files, loadertest::onError, nullptr));
        EXPECT_TRUE(files.isEmpty());
        const std::string expected = row.blamed.isEmpty()
            ? QStringLiteral("t.svd:0:0: error: %1").arg(row.text).toStdString()
            : positioned(row.svd, row.blamed, "error", row.text);
        EXPECT_EQ(loadertest::messages().error, std::vector<std::string> {expected});
    }
}

// The file is read into the parser's memory as it is; a text in another encoding, with a byte-order mark
// or encrypted is converted first. Every form gives the archive set of the UTF-8 text.
TEST_F(SvdImport, EveryFormOfTheFileGivesTheSameArchiveSet)
{
    const QString text = QString::fromUtf8(
        QByteArray(kFeatures)
            .replace("<device><name>t</name>",
                "<device><name>t</name><description>T\xC3\xA9st  chip &amp; \xE2\x80\x94 "
                "<![CDATA[<raw>]]></description>")
            .replace("<name>TIM0</name><groupName>",
                "<name>TIM0</name><description>caf\xC3\xA9\r\n x</description><groupName>"));
    QList<QPair<QString, QByteArray>> expected;
    ASSERT_TRUE(convertSvd(text.toUtf8(), QStringLiteral("t.svd"), expected, loadertest::onError, nullptr));
    auto utf16 = [&text](bool bigEndian) {
        QByteArray bytes = bigEndian ? "\xFE\xFF" : "\xFF\xFE";
        for (const QChar c : text) {
            const char high = char(c.unicode() >> 8);
            const char low = char(c.unicode() & 0xFF);
            bytes.append(bigEndian ? high : low).append(bigEndian ? low : high);
        }
        return bytes;
    };
    QString latin1 = text;
    latin1.replace(QStringLiteral("<?xml version=\"1.0\"?>"),
        QStringLiteral("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>"));
    latin1.replace(QChar(0x2014), QLatin1Char('-'));
    QList<QPair<QString, QByteArray>> latin1Expected;
    ASSERT_TRUE(
        convertSvd(latin1.toUtf8(), QStringLiteral("t.svd"), latin1Expected, loadertest::onError, nullptr));
    write(QStringLiteral("plain.svd"), text.toUtf8());
    ASSERT_TRUE(encryptXMLDocument(path(QStringLiteral("plain.svd")), path(QStringLiteral("t.xmd")), nullptr,
        loadertest::onError, nullptr));
    QFile encrypted(path(QStringLiteral("t.xmd")));
    ASSERT_TRUE(encrypted.open(QIODevice::ReadOnly));
    const struct {
        const char* form;
        QByteArray bytes;
        const QList<QPair<QString, QByteArray>>& files;
    } rows[] = {
        {"UTF-8", text.toUtf8(), expected},
        {"UTF-8 with a byte-order mark", "\xEF\xBB\xBF" + text.toUtf8(), expected},
        {"UTF-16, little-endian", utf16(false), expected},
        {"UTF-16, big-endian", utf16(true), expected},
        {"ISO-8859-1", latin1.toLatin1(), latin1Expected},
        {"encrypted", encrypted.readAll(), expected},
    };
    QDir::setCurrent(path(QString()));
    for (const auto& row : rows) {
        SCOPED_TRACE(row.form);
        write(QStringLiteral("t.svd"), row.bytes);
        ASSERT_TRUE(
            importSvdFile(QStringLiteral("t.svd"), QStringLiteral("out"), loadertest::onError, nullptr))
            << ::testing::PrintToString(loadertest::messages().error);
        for (const auto& file : row.files) {
            QFile written(path(QStringLiteral("out/") + file.first));
            ASSERT_TRUE(written.open(QIODevice::ReadOnly)) << file.first.toStdString();
            EXPECT_EQ(written.readAll().toStdString(), file.second.toStdString()) << file.first.toStdString();
        }
        EXPECT_EQ(QDir(path(QStringLiteral("out"))).count(), uint(row.files.size() + 2));
    }
    EXPECT_TRUE(loadertest::messages().error.empty());
}

// The importer keeps the text, its parse and the archives in memory taken in blocks of some megabytes, and
// an archive's buffer grows where it lies until its block is full: a description whose archives fill
// several blocks is written as convertSvd() gives it all the same.
TEST_F(SvdImport, ALargeDescriptionIsWrittenAsConvertSvdGivesIt)
{
    QByteArray peripherals;
    for (int p = 0; p < 40; ++p) {
        peripherals +=
            QStringLiteral("<peripheral><name>P%1</name><baseAddress>0x%2</baseAddress><registers>\n")
                .arg(p)
                .arg(0x40000000 + p * 0x1000, 0, 16)
                .toLatin1();
        for (int r = 0; r < 200; ++r) {
            peripherals += QStringLiteral("<register><name>R%1</name><description>Register %1 of peripheral "
                                          "%2.</description><addressOffset>%3</addressOffset><fields>\n")
                               .arg(r)
                               .arg(p)
                               .arg(r * 4)
                               .toLatin1();
            for (int f = 0; f < 8; ++f)
                peripherals +=
                    QStringLiteral("<field><name>F%1</name><description>Field %1 of register %2 &amp; "
                                   "its  neighbours.</description><bitOffset>%3</bitOffset><bitWidth>4"
                                   "</bitWidth></field>\n")
                        .arg(f)
                        .arg(r)
                        .arg(f * 4)
                        .toLatin1();
            peripherals += "</fields></register>\n";
        }
        peripherals += "</registers></peripheral>\n";
    }
    const QByteArray svd = device(peripherals);
    QList<QPair<QString, QByteArray>> expected;
    ASSERT_TRUE(convertSvd(svd, QStringLiteral("t.svd"), expected, loadertest::onError, nullptr));
    qsizetype bytes = 0;
    for (const auto& file : expected)
        bytes += file.second.size();
    ASSERT_GT(bytes, 8 << 20);
    write(QStringLiteral("t.svd"), svd);
    QDir::setCurrent(path(QString()));
    ASSERT_TRUE(importSvdFile(QStringLiteral("t.svd"), QStringLiteral("out"), loadertest::onError, nullptr));
    for (const auto& file : expected) {
        QFile written(path(QStringLiteral("out/") + file.first));
        ASSERT_TRUE(written.open(QIODevice::ReadOnly)) << file.first.toStdString();
        EXPECT_TRUE(written.readAll() == file.second) << file.first.toStdString();
    }
    EXPECT_EQ(QDir(path(QStringLiteral("out"))).count(), uint(expected.size() + 2));
}

TEST_F(SvdImport, AFailedImportLeavesTheDirectoryAsItWas)
{
    ASSERT_TRUE(importAndLoad(kFeatures));
    const QStringList before = QDir(path(QStringLiteral("out"))).entryList(QDir::Files, QDir::Name);
    EXPECT_EQ(before,
        (QStringList {QStringLiteral("GPIO.xml"), QStringLiteral("TIM0.xml"), QStringLiteral("chip.xml")}));
    write(QStringLiteral("bad.svd"), device("<peripheral><name>P</name></peripheral>"));
    EXPECT_FALSE(
        importSvdFile(QStringLiteral("bad.svd"), QStringLiteral("out"), loadertest::onError, nullptr));
    EXPECT_EQ(QDir(path(QStringLiteral("out"))).entryList(QDir::Files, QDir::Name), before);
    // Nothing is left beside it either.
    EXPECT_EQ(
        QDir(path(QString())).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name),
        (QStringList {QStringLiteral("bad.svd"), QStringLiteral("out"), QStringLiteral("t.svd")}));
    // A second import replaces the set whole.
    write(QStringLiteral("t.svd"),
        device("<peripheral><name>P</name><baseAddress>0</baseAddress></peripheral>"));
    loadertest::messages() = loadertest::Messages();
    ASSERT_TRUE(importSvdFile(
        QStringLiteral("t.svd"), QStringLiteral("out"), loadertest::onError, loadertest::onWarning));
    EXPECT_EQ(QDir(path(QStringLiteral("out"))).entryList(QDir::Files, QDir::Name),
        (QStringList {QStringLiteral("P.xml"), QStringLiteral("chip.xml")}));
    // The old set is gone, and nothing is left beside the new one.
    EXPECT_EQ(
        QDir(path(QString())).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name),
        (QStringList {QStringLiteral("bad.svd"), QStringLiteral("out"), QStringLiteral("t.svd")}));
}

} // namespace
