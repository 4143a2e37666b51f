// Elements of one chip live in memory of their own: deleting them gives it back to the system while
// elements made before, after and on other threads live on.
#include <vellxml/model/bitfield.h>
#include <vellxml/model/valuable.h>

#include <QStringList>

#include <gtest/gtest.h>

#include <cstdio>
#include <malloc.h>
#include <memory>
#include <thread>
#include <unistd.h>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#define VELLXML_TEST_POOLED 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(memory_sanitizer)
#define VELLXML_TEST_POOLED 0
#endif
#endif
#ifndef VELLXML_TEST_POOLED
#define VELLXML_TEST_POOLED 1
#endif

namespace {

#if VELLXML_TEST_POOLED && defined(__linux__)

using Chip = std::vector<std::unique_ptr<HwRegister32>>;

/// Registers of eight fields, every fourth with an option, and a bit group of the first two. The names
/// are shared texts: the elements and their side structures, which come from the same pool, are most of
/// the memory the chip takes.
Chip makeChip(int registers)
{
    const QString regName = QStringLiteral("r");
    QStringList fieldNames;
    for (int f = 0; f < 8; ++f)
        fieldNames << QStringLiteral("f%1").arg(f);
    Chip chip;
    for (int r = 0; r < registers; ++r) {
        auto reg = std::make_unique<HwRegister32>(regName);
        for (int f = 0; f < 8; ++f) {
            HwBitField* field = reg->addBitField(std::make_unique<HwBitField>(fieldNames[f], true,
                HwBitField::WRITE_NORMAL, QString::number(4 * f + 3), 4 * f + 3, QString::number(4 * f),
                4 * f, 0u, true, DISPLAY_HEX));
            if (f % 4 == 0)
                field->addOption({regName, static_cast<std::uint32_t>(f), QString()});
        }
        auto group = std::make_unique<HwBitGroup>(regName, reg.get());
        group->addBitField(reg->getBitFields()[0].get());
        group->addBitField(reg->getBitFields()[1].get());
        reg->addBitGroup(std::move(group));
        chip.push_back(std::move(reg));
    }
    return chip;
}

void expectIntact(const Chip& chip)
{
    for (const auto& reg : chip) {
        ASSERT_EQ(reg->getBitFields().size(), 8u);
        EXPECT_EQ(reg->getBitFields()[5]->getName(), QStringLiteral("f5"));
        EXPECT_EQ(reg->getBitFields()[5]->getDownPos(), 20);
        EXPECT_EQ(reg->getBitFields()[5]->getParent(), reg.get());
        ASSERT_EQ(reg->getBitFields()[4]->getOptions().size(), 1);
        EXPECT_EQ(reg->getBitFields()[4]->getOptions()[0].value, 4u);
        ASSERT_EQ(reg->getBitGroups().size(), 1u);
        EXPECT_EQ(reg->getBitGroups()[0]->getBitFields().size(), 2);
    }
}

long residentBytes()
{
    long pages = 0;
    long resident = 0;
    if (FILE* statm = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(statm, "%ld %ld", &pages, &resident) != 2)
            resident = 0;
        std::fclose(statm);
    }
    return resident * sysconf(_SC_PAGESIZE);
}

TEST(ElementMemoryTest, DeletingAChipReturnsItsMemoryWhileOthersLive)
{
    const Chip before = makeChip(50);
    const long start = residentBytes();
    ASSERT_GT(start, 0);
    Chip big = makeChip(40000);
    const Chip after = makeChip(50); // starts in the big chip's last chunk
    Chip fromThread;
    std::thread([&fromThread] { fromThread = makeChip(20000); }).join();
    const long grown = residentBytes() - start;
    ASSERT_GT(grown, 40L << 20) << "the chips were expected to take tens of MiB";

    big.clear();
    fromThread.clear(); // deleted on another thread than the one that made them
    malloc_trim(0); // the option and member lists' memory, which the general heap would keep for later use
    EXPECT_LT(residentBytes() - start, grown / 4);
    expectIntact(before);
    expectIntact(after);
}

#else

TEST(ElementMemoryTest, DeletingAChipReturnsItsMemoryWhileOthersLive)
{
    GTEST_SKIP() << "elements come from the general heap in this build";
}

#endif

} // namespace
