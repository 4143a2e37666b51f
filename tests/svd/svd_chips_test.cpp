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
#include <random>
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

} // namespace
