#include "host/host_support.h"

#include <vellxml/host/simulator.h>
#include <vellxml/loader/archive.h>
#include <vellxml/model/bitfield.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/valuable.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <vector>

namespace {

namespace sim = vellxml::sim;
using sim::HostCall;
using sim::Operation;

constexpr int kTarget = 6;

class TargetAccessTest : public testing::Test {
protected:
    void SetUp() override { sim::reset(); }
    void TearDown() override { sim::reset(); }
};

using Maker = std::function<std::unique_ptr<HwXMLElement>()>;

template<typename T>
Maker maker()
{
    return [] { return std::make_unique<T>(QStringLiteral("e")); };
}

TEST_F(TargetAccessTest, EachScalarKindUsesItsWidth)
{
    const struct {
        const char* label;
        Maker make;
        Operation read;
        Operation write;
        sim::Space space;
        int bytes;
    } rows[] = {
        {"reg32", maker<HwRegister32>(), Operation::Read32, Operation::Write32, sim::Space::Memory, 4},
        {"int32", maker<HwInt32>(), Operation::Read32, Operation::Write32, sim::Space::Memory, 4},
        {"uint32", maker<HwUnsignedInt32>(), Operation::Read32, Operation::Write32, sim::Space::Memory, 4},
        {"pointer", [] { return std::make_unique<HwPointer>(QStringLiteral("p"), QStringLiteral("void")); },
            Operation::Read32, Operation::Write32, sim::Space::Memory, 4},
        {"reg16", maker<HwRegister16>(), Operation::Read16, Operation::Write16, sim::Space::Memory, 2},
        {"int16", maker<HwInt16>(), Operation::Read16, Operation::Write16, sim::Space::Memory, 2},
        {"uint16", maker<HwUnsignedInt16>(), Operation::Read16, Operation::Write16, sim::Space::Memory, 2},
        {"reg8", maker<HwRegister8>(), Operation::Read8, Operation::Write8, sim::Space::Memory, 1},
        {"int8", maker<HwInt8>(), Operation::Read8, Operation::Write8, sim::Space::Memory, 1},
        {"uint8", maker<HwUnsignedInt8>(), Operation::Read8, Operation::Write8, sim::Space::Memory, 1},
        {"bool", maker<HwBoolean>(), Operation::Read8, Operation::Write8, sim::Space::Memory, 1},
        {"ireg8", maker<HwInternalRegister8>(), Operation::ReadInternal, Operation::WriteInternal,
            sim::Space::Internal, 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        sim::reset();
        const std::uint32_t widthMask = row.bytes == 4 ? 0xFFFFFFFFu : (1u << (8 * row.bytes)) - 1u;
        HwStruct module(QStringLiteral("m"), QStringLiteral("M"));
        module.remap(0x40000000);
        module.addElement(std::make_unique<HwRegister32>(QStringLiteral("first")));
        HwXMLElement* element = module.addElement(row.make());
        const std::uint32_t address = 0x40000004;
        sim::poke(kTarget, address, 0x89ABCDEF, 4, row.space);

        unsigned int value = 0x5555;
        EXPECT_EQ(element->read(kTarget, value), 0);
        EXPECT_EQ(value, 0x89ABCDEFu & widthMask); // zero-extended, also for the signed kinds
        EXPECT_EQ(element->write(kTarget, 0x13572468), 0);
        EXPECT_EQ(sim::peek(kTarget, address, 4, row.space),
            (0x89ABCDEFu & ~widthMask) | (0x13572468u & widthMask));
        EXPECT_EQ(sim::calls(),
            (std::vector<HostCall> {{row.read, kTarget, address, 0x89ABCDEFu & widthMask, 0},
                {row.write, kTarget, address, 0x13572468u & widthMask, 0}}));
        // Target access never touches the cache.
        EXPECT_EQ(static_cast<HwValuable*>(element)->getValue(), 0u);
    }
}

TEST_F(TargetAccessTest, ElementsWithoutScalarWidthAreRefusedWithoutHostCall)
{
    HwRegister32 reg(QStringLiteral("r"));
    HwBitField* bf = reg.addBitField(std::make_unique<HwBitField>(
        QStringLiteral("f"), true, 1, QString(), 3, QString(), 0, 0, false, DISPLAY_HEX));
    HwStruct s(QStringLiteral("s"), QStringLiteral("S"));
    s.addElement(std::make_unique<HwRegister32>(QStringLiteral("r")));
    HwArray array(QStringLiteral("a"), HwRegister8(QStringLiteral("x")), 2, QString());
    HwVoid voidValue(QStringLiteral("v"));
    HwHole hole(32);
    HwMemory memory(QStringLiteral("m"), 16);
    HwExternal external(QStringLiteral("x"), 16);
    HwXMLArchive archive(QStringLiteral("a.xml"));
    HwRootArchive root(QStringLiteral("chip"));

    const std::vector<HwXMLElement*> refused {
        bf, &s, &array, &voidValue, &hole, &memory, &external, &archive, &root};
    for (HwXMLElement* element : refused) {
        SCOPED_TRACE(element->getType());
        unsigned int value = 0x1234;
        EXPECT_EQ(element->read(kTarget, value), ACCESS_NO_SCALAR_WIDTH);
        EXPECT_EQ(value, 0x1234u);
        EXPECT_EQ(element->write(kTarget, 0xFFFFFFFF), ACCESS_NO_SCALAR_WIDTH);
    }
    EXPECT_TRUE(sim::calls().empty());
}

// instance "sys" at 0x1000: { uint32 pad; T1* outer @4 }
// T1: { reg32 pad[2]; T2* inner @8 }     T2: { reg32 a; reg32 b; reg16 status @0xC }
struct PointerChain {
    HwRootArchive root {QStringLiteral("chip")};
    HwPointer* outer = nullptr;
    HwPointer* inner = nullptr;
    HwRegister16* status = nullptr;

    PointerChain()
    {
        auto t2 = std::make_unique<HwStruct>(QStringLiteral("*(inner)"), QString());
        t2->addElement(std::make_unique<HwRegister32>(QStringLiteral("a")));
        t2->addElement(std::make_unique<HwRegister32>(QStringLiteral("b")));
        t2->addElement(std::make_unique<HwRegister32>(QStringLiteral("c")));
        status = static_cast<HwRegister16*>(
            t2->addElement(std::make_unique<HwRegister16>(QStringLiteral("status"))));
        auto t1 = std::make_unique<HwStruct>(QStringLiteral("*(outer)"), QString());
        t1->addElement(std::make_unique<HwArray>(
            QStringLiteral("pad"), HwRegister32(QStringLiteral("p")), 2, QString()));
        inner = static_cast<HwPointer*>(
            t1->addElement(std::make_unique<HwPointer>(QStringLiteral("inner"), QStringLiteral("T2"))));
        inner->pointTo(std::move(t2));
        auto sys = std::make_unique<HwStruct>(QStringLiteral("sys"), QStringLiteral("SYS"));
        sys->addElement(std::make_unique<HwUnsignedInt32>(QStringLiteral("pad")));
        outer = static_cast<HwPointer*>(
            sys->addElement(std::make_unique<HwPointer>(QStringLiteral("outer"), QStringLiteral("T1"))));
        outer->pointTo(std::move(t1));
        sys->remap(0x1000);
        root.addElement(std::move(sys));
    }
};

TEST_F(TargetAccessTest, PointersOnThePathAreReadFromTheOutsideIn)
{
    PointerChain chain;
    sim::poke(kTarget, 0x1004, 0x2000); // outer -> 0x2000
    sim::poke(kTarget, 0x2008, 0x3000); // inner (at 0x2000 + 8) -> 0x3000
    sim::poke(kTarget, 0x300C, 0xA55A, 2);
    // Stale cached pointer values must not matter.
    chain.outer->setValue(0x9999);
    chain.inner->setValue(0x7777);

    unsigned int value = 0;
    ASSERT_EQ(chain.status->read(kTarget, value), 0);
    EXPECT_EQ(value, 0xA55Au);
    EXPECT_EQ(sim::calls(),
        (std::vector<HostCall> {{Operation::Read32, kTarget, 0x1004, 0x2000, 0},
            {Operation::Read32, kTarget, 0x2008, 0x3000, 0},
            {Operation::Read16, kTarget, 0x300C, 0xA55A, 0}}));
    EXPECT_EQ(chain.outer->getValue(), 0x2000u);
    EXPECT_EQ(chain.inner->getValue(), 0x3000u);
    EXPECT_EQ(chain.status->getBaseAddress(), 0x300Cu);
    EXPECT_EQ(chain.status->getValue(), 0u);

    // The pointers are read again on every access and follow the target.
    sim::clearCalls();
    sim::poke(kTarget, 0x2008, 0x5000);
    ASSERT_EQ(chain.status->write(kTarget, 0x1234), 0);
    EXPECT_EQ(sim::calls(),
        (std::vector<HostCall> {{Operation::Read32, kTarget, 0x1004, 0x2000, 0},
            {Operation::Read32, kTarget, 0x2008, 0x5000, 0},
            {Operation::Write16, kTarget, 0x500C, 0x1234, 0}}));
    EXPECT_EQ(sim::peek(kTarget, 0x500C, 2), 0x1234u);

    // A pointer itself is read at its own place, after the pointers above it.
    sim::clearCalls();
    ASSERT_EQ(chain.inner->read(kTarget, value), 0);
    EXPECT_EQ(value, 0x5000u);
    EXPECT_EQ(sim::calls(),
        (std::vector<HostCall> {{Operation::Read32, kTarget, 0x1004, 0x2000, 0},
            {Operation::Read32, kTarget, 0x2008, 0x5000, 0}}));
}

TEST_F(TargetAccessTest, ANullPointerOnThePathStopsTheAccess)
{
    PointerChain chain;
    sim::poke(kTarget, 0x1004, 0x2000);
    // inner holds 0 on the target.
    unsigned int value = 0xCAFE;
    EXPECT_EQ(chain.status->read(kTarget, value), ACCESS_NULL_POINTER);
    EXPECT_EQ(value, 0xCAFEu);
    EXPECT_EQ(chain.status->write(kTarget, 1), ACCESS_NULL_POINTER);
    // The outer pointer keeps the value it was given before the failure.
    EXPECT_EQ(chain.outer->getValue(), 0x2000u);
    EXPECT_EQ(sim::calls().size(), 4u);
    EXPECT_EQ(sim::calls().back(), (HostCall {Operation::Read32, kTarget, 0x2008, 0, 0}));

    sim::reset();
    chain.outer->setValue(0);
    EXPECT_EQ(chain.status->read(kTarget, value), ACCESS_NULL_POINTER);
    EXPECT_EQ(sim::calls(), (std::vector<HostCall> {{Operation::Read32, kTarget, 0x1004, 0, 0}}));
    EXPECT_EQ(value, 0xCAFEu);
}

TEST_F(TargetAccessTest, HostErrorsArePassedThrough)
{
    PointerChain chain;
    sim::poke(kTarget, 0x1004, 0x2000);
    sim::poke(kTarget, 0x2008, 0x3000);

    sim::setErrorCode(kTarget, 0x2009, 0x4242);
    unsigned int value = 0xCAFE;
    EXPECT_EQ(chain.status->read(kTarget, value), 0x4242);
    EXPECT_EQ(value, 0xCAFEu);
    EXPECT_EQ(chain.status->write(kTarget, 0), 0x4242);
    EXPECT_EQ(chain.outer->getValue(), 0x2000u);

    sim::setErrorCode(kTarget, 0x2009, 0);
    sim::setErrorCode(kTarget, 0x300D, -5);
    EXPECT_EQ(chain.status->read(kTarget, value), -5);
    EXPECT_EQ(value, 0xCAFEu);
    EXPECT_EQ(chain.status->write(kTarget, 0), -5);

    HwRegister8 reg(QStringLiteral("r"));
    reg.remap(0x10);
    sim::setErrorCode(kTarget, 0x10, 3);
    EXPECT_EQ(reg.read(kTarget, value), 3);
    EXPECT_EQ(value, 0xCAFEu);
    HwInternalRegister8 ireg(QStringLiteral("i"));
    ireg.remap(0x10);
    EXPECT_EQ(ireg.read(kTarget, value), 0);
    EXPECT_EQ(value, 0u);
}

TEST_F(TargetAccessTest, ProtectionAndReadErrorsAreLeftToTheClient)
{
    HwRegister32 hidden(QStringLiteral("h"), false, false);
    hidden.remap(0x40);
    hidden.setReadError(true);
    hidden.setValue(0x1111);
    sim::poke(kTarget, 0x40, 0x2222);
    unsigned int value = 0;
    EXPECT_EQ(hidden.read(kTarget, value), 0);
    EXPECT_EQ(value, 0x2222u);
    EXPECT_EQ(hidden.write(kTarget, 0x3333), 0);
    EXPECT_EQ(sim::peek(kTarget, 0x40), 0x3333u);
    EXPECT_TRUE(hidden.hasReadError());
    EXPECT_EQ(hidden.getValue(), 0x1111u);
}

// STATUS at 0x5000: irq (1:0) write-one-to-clear, mode (7:4) read-write, start (9:8) write-one-to-set,
// version (31:24) read-only. Two interrupts are pending and nothing is started.
class ReadModifyWriteTest : public TargetAccessTest {
protected:
    void SetUp() override
    {
        TargetAccessTest::SetUp();
        status.remap(0x5000);
        const auto add = [this](const char* name, int kind, int up, int down) {
            return status.addBitField(std::make_unique<HwBitField>(QLatin1String(name), true, kind,
                QString::number(up), up, QString::number(down), down, 0, false, DISPLAY_HEX));
        };
        add("irq", HwBitField::WRITE_CLEAR, 1, 0);
        mode = add("mode", HwBitField::WRITE_NORMAL, 7, 4);
        add("start", HwBitField::WRITE_SET, 9, 8);
        add("version", HwBitField::WRITE_NONE, 31, 24);
        sim::poke(kTarget, 0x5000, 0x17000023); // version 0x17, mode 2, irq 3
        sim::setWriteOneToClearBits(kTarget, 0x5000, 0x00000003);
        sim::setWriteOneToSetBits(kTarget, 0x5000, 0x00000300);
        sim::setReadOnlyBits(kTarget, 0x5000, 0xFF000000);
    }

    /// The bitfield write: read the register, keep the value, write it back with the field replaced and
    /// the write-one bits at 0.
    int writeField(HwBitField* field, std::uint32_t value, bool clearWriteOneBits)
    {
        unsigned int cache = 0;
        if (const int result = status.read(kTarget, cache); result != 0)
            return result;
        status.setValue(cache);
        const std::uint32_t base =
            clearWriteOneBits ? status.getValueForWritingBitfield() : status.getValue();
        return status.write(kTarget, field->insertValueInCache(base, value));
    }

    HwRegister32 status {QStringLiteral("status")};
    HwBitField* mode = nullptr;
};

TEST_F(ReadModifyWriteTest, WritingOneFieldTriggersNoOtherFlag)
{
    ASSERT_EQ(writeField(mode, 0x5, true), 0);
    EXPECT_EQ(sim::peek(kTarget, 0x5000), 0x17000053u); // irq still pending, nothing started
    EXPECT_EQ(sim::calls(),
        (std::vector<HostCall> {{Operation::Read32, kTarget, 0x5000, 0x17000023, 0},
            {Operation::Write32, kTarget, 0x5000, 0x17000050, 0}}));
    EXPECT_EQ(status.getValue(), 0x17000023u);
}

TEST_F(ReadModifyWriteTest, WritingTheCacheBackWouldClearThePendingFlags)
{
    // The simulator does model the hazard the write-one mask avoids.
    ASSERT_EQ(writeField(mode, 0x5, false), 0);
    EXPECT_EQ(sim::peek(kTarget, 0x5000), 0x17000050u);
}

TEST_F(ReadModifyWriteTest, WriteOneFieldsActOnlyWhenTargeted)
{
    HwBitField* irq = status.getBitFieldByName(QStringLiteral("irq"));
    HwBitField* start = status.getBitFieldByName(QStringLiteral("start"));
    const struct {
        HwBitField* field;
        std::uint32_t value;
        std::uint32_t written;
        std::uint32_t after;
    } steps[] = {
        {irq, 0x1, 0x17000021, 0x17000022}, // acknowledges one interrupt only
        {start, 0x2, 0x17000220, 0x17000222}, // the pending interrupt is not acknowledged
        {mode, 0xF, 0x170000F0, 0x170002F2}, // the started bit, read back as 1, is not written again
    };
    for (const auto& step : steps) {
        SCOPED_TRACE(step.field->getName().toStdString());
        sim::clearCalls();
        ASSERT_EQ(writeField(step.field, step.value, true), 0);
        ASSERT_EQ(sim::calls().size(), 2u);
        EXPECT_EQ(sim::calls()[1], (HostCall {Operation::Write32, kTarget, 0x5000, step.written, 0}));
        EXPECT_EQ(sim::peek(kTarget, 0x5000), step.after);
    }
}

} // namespace
