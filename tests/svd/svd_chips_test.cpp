// Every register and field of the vendor SVD files, found by path in the imported chip. The expected
// registers come from a reading of the SVD of this test's own (QDomDocument), not from the importer.

#include "loader/loader_support.h"
#include "svd/svd_walk.h"

#include <vellxml/loader/memory_map.h>
#include <vellxml/model/bitfield.h>
#include <vellxml/model/valuable.h>
#include <vellxml/svd/svd_import.h>

#include <QDomDocument>
#include <QFile>
#include <QSet>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <random>
#include <utility>
#include <vector>

namespace {

class VendorChip : public ::testing::TestWithParam<const char*> { };

TEST_P(VendorChip, EveryRegisterAndFieldIsFoundAtItsAddress)
{
    const QString svd = QStringLiteral(VELLXML_SHARED_DIR "/svd/%1.svd").arg(QLatin1String(GetParam()));
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    loadertest::messages() = loadertest::Messages();
    ASSERT_TRUE(
        importSvdFile(svd, dir.path() + QStringLiteral("/chip"), loadertest::onError, loadertest::onWarning));
    ASSERT_EQ(loadertest::messages().error, std::vector<std::string> {});

    HwMemoryMap map;
    HwMemoryMapLoader loader;
    ASSERT_NE(loader.loadRootArchiveFromFile(&map, dir.path() + QStringLiteral("/chip/chip.xml"), nullptr,
                  loadertest::onError, loadertest::onWarning, true),
        nullptr);
    ASSERT_EQ(loadertest::messages().error, std::vector<std::string> {});

    QFile file(svd);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    QDomDocument document;
    ASSERT_TRUE(bool(document.setContent(&file)));
    svdtest::Walk walk;
    walk.device(document.documentElement());
    ASSERT_GT(walk.registers.size(), 100u);

    const std::size_t fields = svdtest::expectEveryRegister(map, walk.registers);
    RecordProperty("registers", int(walk.registers.size()));
    RecordProperty("fields", int(fields));
}

INSTANTIATE_TEST_SUITE_P(SharedFiles, VendorChip,
    ::testing::Values("ATSAMD21G18A", "LPC55S69_cm33_core0", "esp32", "nrf51", "nrf52840",
        "nrf5340_application", "rp2040"));

} // namespace

namespace {

/// A random SVD: peripherals (some derived, some arrays) of registers and clusters at random aligned offsets
/// that often overlap, register and cluster arrays in both name forms, nested clusters, random sizes,
/// access, write kinds, resets and fields.
class RandomSvd {
public:
    explicit RandomSvd(unsigned seed)
        : m_random(seed)
    {
    }

    QByteArray make()
    {
        QByteArray out = "<?xml version=\"1.0\"?>\n<device><name>r</name><size>32</size><resetValue>"
            + hex(m_random()) + "</resetValue><peripherals>\n";
        const int peripherals = pick(1, 3);
        for (int p = 0; p < peripherals; ++p) {
            const QByteArray name = "P" + QByteArray::number(p);
            const QByteArray base = hex(0x40000000u + unsigned(p) * 0x10000u);
            if (p > 0 && pick(0, 3) == 0) {
                out += "<peripheral derivedFrom=\"P0\"><name>" + name + "</name><baseAddress>" + base
                    + "</baseAddress></peripheral>\n";
                continue;
            }
            const bool array = pick(0, 4) == 0;
            out += "<peripheral><name>" + name + (array ? "_%s" : "") + "</name>"
                + (array ? "<dim>2</dim><dimIncrement>0x1000</dimIncrement>" : "") + "<baseAddress>" + base
                + "</baseAddress><registers>\n" + members(0) + "</registers></peripheral>\n";
        }
        return out + "</peripherals></device>\n";
    }

private:
    int pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(m_random); }
    static QByteArray hex(unsigned value) { return "0x" + QByteArray::number(value, 16); }

    QByteArray members(int depth)
    {
        QByteArray out;
        const int count = pick(1, 6);
        for (int i = 0; i < count; ++i) {
            const QByteArray name = "M" + QByteArray::number(i);
            if (depth < 2 && pick(0, 4) == 0) {
                const int form = pick(0, 2); // plain, [%s] array, %s copies
                const unsigned stride = 0x40u * unsigned(pick(1, 2));
                out += "<cluster><name>" + name
                    + (form == 1        ? "[%s]"
                            : form == 2 ? "_%s"
                                        : "")
                    + "</name>"
                    + (form ? "<dim>" + QByteArray::number(pick(1, 3)) + "</dim><dimIncrement>" + hex(stride)
                                + "</dimIncrement>"
                            : "")
                    + "<addressOffset>" + hex(unsigned(pick(0, 8)) * 0x20u) + "</addressOffset>"
                    + members(depth + 1) + "</cluster>\n";
                continue;
            }
            const int size = 8 << pick(0, 2);
            const int bytes = size / 8;
            const int form = pick(0, 5); // mostly single registers
            const unsigned offset = unsigned(pick(0, 15)) * unsigned(bytes) * (depth ? 1u : 2u);
            static const char* const accesses[] = {"read-write", "read-only", "write-only", "read-write"};
            out += "<register><name>" + name
                + (form == 1        ? "[%s]"
                        : form == 2 ? "_%s"
                                    : "")
                + "</name>"
                + (form == 1 || form == 2 ? "<dim>" + QByteArray::number(pick(1, 4)) + "</dim><dimIncrement>"
                            + hex(unsigned(bytes * pick(1, 2))) + "</dimIncrement>"
                                          : "")
                + "<addressOffset>" + hex(offset) + "</addressOffset><size>" + QByteArray::number(size)
                + "</size>" + "<access>" + accesses[pick(0, 3)] + "</access>"
                + (pick(0, 1) ? "<resetValue>" + hex(m_random()) + "</resetValue>" : "")
                + (pick(0, 3) == 0 ? "<resetMask>" + hex(m_random()) + "</resetMask>" : "") + fields(size)
                + "</register>\n";
        }
        return out;
    }

    QByteArray fields(int size)
    {
        if (pick(0, 3) == 0)
            return {};
        QByteArray out = "<fields>";
        int bit = 0;
        for (int i = 0; bit < size; ++i) {
            bit += pick(0, 3);
            const int width = pick(1, 6);
            if (bit + width > size)
                break;
            static const char* const modified[] = {"", "oneToClear", "oneToSet", "oneToToggle"};
            static const char* const accesses[] = {"", "read-only", "write-only", "read-write"};
            const char* m = modified[pick(0, 3)];
            const char* a = accesses[pick(0, 3)];
            const QByteArray fieldName = "F" + QByteArray::number(i);
            switch (pick(0, 2)) {
            case 0:
                out += "<field><name>" + fieldName + "</name><bitOffset>" + QByteArray::number(bit)
                    + "</bitOffset><bitWidth>" + QByteArray::number(width) + "</bitWidth>";
                break;
            case 1:
                out += "<field><name>" + fieldName + "</name><lsb>" + QByteArray::number(bit) + "</lsb><msb>"
                    + QByteArray::number(bit + width - 1) + "</msb>";
                break;
            default:
                out += "<field><name>" + fieldName + "</name><bitRange>["
                    + QByteArray::number(bit + width - 1) + ":" + QByteArray::number(bit) + "]</bitRange>";
                break;
            }
            if (*a)
                out += QByteArray("<access>") + a + "</access>";
            if (*m)
                out += QByteArray("<modifiedWriteValues>") + m + "</modifiedWriteValues>";
            out += "</field>";
            bit += width;
        }
        return out + "</fields>";
    }

    std::mt19937 m_random;
};

TEST(RandomSvd, EveryRegisterOfARandomDescriptionIsFoundAtItsAddress)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    for (unsigned seed = 1; seed <= 150; ++seed) {
        SCOPED_TRACE(seed);
        const QByteArray svd = RandomSvd(seed).make();
        QFile file(dir.path() + QStringLiteral("/r.svd"));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(svd);
        file.close();
        loadertest::messages() = loadertest::Messages();
        ASSERT_TRUE(importSvdFile(
            file.fileName(), dir.path() + QStringLiteral("/chip"), loadertest::onError, nullptr))
            << loadertest::messages().error.front() << "\n"
            << svd.toStdString();
        HwMemoryMap map;
        HwMemoryMapLoader loader;
        ASSERT_NE(loader.loadRootArchiveFromFile(&map, dir.path() + QStringLiteral("/chip/chip.xml"), nullptr,
                      loadertest::onError, nullptr, true),
            nullptr)
            << svd.toStdString();
        QDomDocument document;
        ASSERT_TRUE(bool(document.setContent(svd)));
        svdtest::Walk walk;
        walk.device(document.documentElement());
        svdtest::expectEveryRegister(map, walk.registers);
        if (HasFailure()) {
            ADD_FAILURE() << svd.toStdString();
            break;
        }
    }
}

/// A random SVD whose registers, fields and enumerated values carry random texts: words, markup characters,
/// non-ASCII letters and Unicode spaces, runs of white space and line breaks, some written as character
/// references; bit ranges with random spaces; enumerated value names that meet each other regardless of
/// case, sometimes dozens of them in one field. What the import must give is known from the inputs alone.
class RandomTexts {
public:
    struct Option {
        QString name;
        std::uint64_t value = 0;
        QString comment;
    };
    struct Field {
        QString comment;
        std::vector<Option> options;
    };
    struct Register {
        QString comment;
        std::vector<Field> fields;
    };

    explicit RandomTexts(unsigned seed)
        : m_random(seed)
    {
    }

    /// The SVD; `expected` receives each register's comment, fields and options as the archive must hold
    /// them (comments collapsed as QString::simplified() does; empty: no comment).
    QByteArray make(std::vector<Register>& expected)
    {
        QByteArray out = "<?xml version=\"1.0\"?>\n<device><name>r</name><peripherals>\n<peripheral><name>P"
                         "</name><baseAddress>0x40000000</baseAddress><registers>\n";
        const int registers = pick(1, 8);
        for (int r = 0; r < registers; ++r) {
            Register reg;
            out += "<register><name>R" + QByteArray::number(r) + "</name>" + description(reg.comment)
                + "<addressOffset>" + QByteArray::number(r * 4) + "</addressOffset><size>32</size><fields>";
            for (int f = 0; f < 4; ++f) {
                Field field;
                const QByteArray sp1 = spaces();
                const QByteArray sp2 = spaces();
                out += "<field><name>F" + QByteArray::number(f) + "</name>" + description(field.comment)
                    + "<bitRange>" + sp1 + "[" + sp2 + QByteArray::number(f * 8 + 7) + spaces() + ":"
                    + spaces() + QByteArray::number(f * 8) + spaces() + "]" + sp1 + "</bitRange>";
                if (pick(0, 1))
                    out += values(field);
                out += "</field>";
                reg.fields.push_back(field);
            }
            out += "</fields></register>\n";
            expected.push_back(reg);
        }
        return out + "</registers></peripheral>\n</peripherals></device>\n";
    }

private:
    int pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(m_random); }

    QByteArray spaces()
    {
        static const char* const runs[] = {"", "", "", " ", "  "};
        return runs[pick(0, 4)];
    }

    /// A description element (or none), its text as the archive must carry it into `comment`.
    QByteArray description(QString& comment)
    {
        if (pick(0, 4) == 0)
            return {};
        static const char16_t* const pieces[] = {u"Alpha", u"b2", u"x_y", u"&", u"<tag>", u"a>b", u"\"q\"",
            u"it's", u"\u00e9t\u00e9", u"\u4e2d\u6587", u"\u00a0", u"\u2028", u"\u3000", u" ", u"  ", u"\t",
            u"\n", u"\n   \t", u"\r\n"};
        QString text;
        QByteArray xml;
        const int count = pick(0, 12);
        for (int i = 0; i < count; ++i) {
            const QString piece = QString::fromUtf16(pieces[pick(0, int(std::size(pieces)) - 1)]);
            text += piece;
            for (const QChar c : piece) {
                if (c == QLatin1Char('&'))
                    xml += "&amp;";
                else if (c == QLatin1Char('<'))
                    xml += "&lt;";
                else if (c == QLatin1Char('>'))
                    xml += pick(0, 1) ? "&gt;" : ">";
                else if (c.unicode() >= 0x80 && pick(0, 1))
                    xml += "&#x" + QByteArray::number(c.unicode(), 16) + ";";
                else
                    xml += QString(c).toUtf8();
            }
        }
        // XML reads a line break written as CR LF as one LF; the model of the text does too.
        comment = QString(text).replace(QStringLiteral("\r\n"), QStringLiteral("\n")).simplified();
        return "<description>" + xml + "</description>";
    }

    /// Enumerated values of an 8-bit field; the options the archive must give, in order: a name met again
    /// (regardless of case) with the same value is left out, with another value it takes the value as a
    /// suffix, unless that name is taken too.
    QByteArray values(Field& field)
    {
        static const char* const names[] = {"ON", "on", "On", "OFF", "Off", "A1", "a1", "X_Y", "x_y"};
        const bool many = pick(0, 3) == 0;
        const int count = many ? pick(33, 60) : pick(1, 8);
        QByteArray out = "<enumeratedValues>";
        std::vector<std::pair<QString, std::uint64_t>> taken;
        auto find = [&](const QString& name) -> const std::uint64_t* {
            for (const auto& entry : taken) {
                if (entry.first.compare(name, Qt::CaseInsensitive) == 0)
                    return &entry.second;
            }
            return nullptr;
        };
        for (int i = 0; i < count; ++i) {
            const QByteArray name = many && pick(0, 1) ? "V" + QByteArray::number(pick(0, 40))
                                                       : QByteArray(names[pick(0, int(std::size(names)) - 1)]);
            const std::uint64_t value = std::uint64_t(pick(0, many ? 255 : 3));
            QString comment;
            out += "<enumeratedValue><name>" + name + "</name>" + description(comment) + "<value>"
                + QByteArray::number(qulonglong(value)) + "</value></enumeratedValue>";
            QString given = QString::fromLatin1(name);
            if (const std::uint64_t* before = find(given)) {
                if (*before == value)
                    continue;
                given += QLatin1Char('_') + QString::number(value);
                if (find(given))
                    continue;
            }
            taken.emplace_back(given, value);
            field.options.push_back({given, value, comment});
        }
        return out + "</enumeratedValues>";
    }

    std::mt19937 m_random;
};

QString commentOf(const QDomElement& element)
{
    return element.firstChildElement(QStringLiteral("comment")).text();
}

TEST(RandomSvd, TextsAndOptionNamesOfRandomDescriptionsAreKept)
{
    for (unsigned seed = 1; seed <= 200; ++seed) {
        SCOPED_TRACE(seed);
        std::vector<RandomTexts::Register> expected;
        const QByteArray svd = RandomTexts(seed).make(expected);
        QList<QPair<QString, QByteArray>> files;
        loadertest::messages() = loadertest::Messages();
        ASSERT_TRUE(convertSvd(svd, QStringLiteral("r.svd"), files, loadertest::onError, nullptr))
            << loadertest::messages().error.front() << "\n"
            << svd.toStdString();
        ASSERT_EQ(files.size(), 2);
        QDomDocument document;
        ASSERT_TRUE(bool(document.setContent(files.at(1).second)));
        const QDomElement module = document.documentElement().firstChildElement(QStringLiteral("module"));
        std::size_t r = 0;
        for (QDomElement reg = module.firstChildElement(QStringLiteral("reg32")); !reg.isNull();
             reg = reg.nextSiblingElement(QStringLiteral("reg32")), ++r) {
            ASSERT_LT(r, expected.size());
            EXPECT_EQ(commentOf(reg), expected[r].comment);
            std::size_t f = 0;
            for (QDomElement bits = reg.firstChildElement(QStringLiteral("bits")); !bits.isNull();
                 bits = bits.nextSiblingElement(QStringLiteral("bits")), ++f) {
                ASSERT_LT(f, expected[r].fields.size());
                const RandomTexts::Field& field = expected[r].fields[f];
                EXPECT_EQ(bits.attribute(QStringLiteral("pos")), QStringLiteral("%1:%2").arg(f * 8 + 7).arg(f * 8));
                EXPECT_EQ(commentOf(bits), field.comment);
                std::vector<RandomTexts::Option> options;
                for (QDomElement option = bits.firstChildElement(QStringLiteral("options"))
                                              .firstChildElement(QStringLiteral("option"));
                     !option.isNull(); option = option.nextSiblingElement(QStringLiteral("option")))
                    options.push_back({option.attribute(QStringLiteral("name")),
                        option.attribute(QStringLiteral("value")).toULongLong(nullptr, 0), commentOf(option)});
                ASSERT_EQ(options.size(), field.options.size());
                for (std::size_t o = 0; o < options.size(); ++o) {
                    EXPECT_EQ(options[o].name, field.options[o].name);
                    EXPECT_EQ(options[o].value, field.options[o].value);
                    EXPECT_EQ(options[o].comment, field.options[o].comment);
                }
            }
            EXPECT_EQ(f, expected[r].fields.size());
        }
        EXPECT_EQ(r, expected.size());
        if (HasFailure()) {
            ADD_FAILURE() << svd.toStdString();
            break;
        }
    }
}

} // namespace
