#include "access/access_support.h"
#include "host/host_support.h"

#include <vellxml/access/commands.h>
#include <vellxml/host/simulator.h>
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

constexpr int kTarget = 3;
const HwTarget kHandle {kTarget};
constexpr std::uint32_t kBase = 0x40000000;

std::unique_ptr<HwBitField> field(const char* name, int up, int down, int writeKind, bool readable = true)
{
    return std::make_unique<HwBitField>(QString::fromUtf8(name), readable, writeKind, QString::number(up), up,
        QString::number(down), down, 0, false, DISPLAY_HEX);
}

/// A module at kBase: a status register with a normal field, a two-bit field, a write-one-to-clear flag, a
/// write-one-to-set trigger and a read-only nibble (the simulated target behaves the same way), then a
/// read-protected, a write-protected and an 8-bit register, a signed 8-bit integer, a void and a pointer.
class CommandsTest : public testing::Test {
protected:
    void SetUp() override
    {
        sim::reset();
        m_status = static_cast<HwRegister32*>(
            m_module.addElement(std::make_unique<HwRegister32>(QStringLiteral("st"))));
        m_en = m_status->addBitField(field("en", 0, 0, HwBitField::WRITE_NORMAL));
        m_mode = m_status->addBitField(field("mode", 5, 4, HwBitField::WRITE_NORMAL));
        m_flag = m_status->addBitField(field("flag", 8, 8, HwBitField::WRITE_CLEAR));
        m_trig = m_status->addBitField(field("trig", 9, 9, HwBitField::WRITE_SET));
        m_ro = m_status->addBitField(field("ro", 15, 12, HwBitField::WRITE_NONE));
        m_hidden = static_cast<HwRegister32*>(
            m_module.addElement(std::make_unique<HwRegister32>(QStringLiteral("hidden"), false, true)));
        m_hiddenField = m_hidden->addBitField(field("lo", 3, 0, HwBitField::WRITE_NORMAL));
        m_locked = static_cast<HwRegister32*>(
            m_module.addElement(std::make_unique<HwRegister32>(QStringLiteral("locked"), true, false)));
        m_lockedField = m_locked->addBitField(field("lo", 3, 0, HwBitField::WRITE_NORMAL));
        m_byte = static_cast<HwRegister8*>(
            m_module.addElement(std::make_unique<HwRegister8>(QStringLiteral("b"))));
        m_signed = static_cast<HwInt8*>(m_module.addElement(std::make_unique<HwInt8>(QStringLiteral("s"))));
        m_void = static_cast<HwVoid*>(m_module.addElement(std::make_unique<HwVoid>(QStringLiteral("v"))));
        m_pointer = static_cast<HwPointer*>(
            m_module.addElement(std::make_unique<HwPointer>(QStringLiteral("p"), QStringLiteral("uint16"))));
        m_pointed = static_cast<HwValuable*>(
            m_pointer->pointTo(std::make_unique<HwUnsignedInt16>(QStringLiteral("*(p)"))));
        m_module.remap(kBase);

        sim::setWriteOneToClearBits(kTarget, kBase, 1u << 8);
        sim::setWriteOneToSetBits(kTarget, kBase, 1u << 9);
        sim::setReadOnlyBits(kTarget, kBase, 0xF000);
    }
    void TearDown() override { sim::reset(); }

    HwStruct m_module {QStringLiteral("m"), QStringLiteral("M")};
    HwRegister32* m_status = nullptr;
    HwBitField* m_en = nullptr;
    HwBitField* m_mode = nullptr;
    HwBitField* m_flag = nullptr;
    HwBitField* m_trig = nullptr;
    HwBitField* m_ro = nullptr;
    HwRegister32* m_hidden = nullptr;
    HwBitField* m_hiddenField = nullptr;
    HwRegister32* m_locked = nullptr;
    HwBitField* m_lockedField = nullptr;
    HwRegister8* m_byte = nullptr;
    HwInt8* m_signed = nullptr;
    HwVoid* m_void = nullptr;
    HwPointer* m_pointer = nullptr;
    HwValuable* m_pointed = nullptr;
};

TEST_F(CommandsTest, ReadsStoreTheValueAndPrintInHex)
{
    sim::poke(kTarget, kBase, 0x0000A2B1);
    m_status->setReadError(true);
    HwCommandResult result = HwCommands::read(*m_status, kHandle);
    EXPECT_TRUE(result.ok());
    EXPECT_EQ(result.value, 0xA2B1u);
    EXPECT_TRUE(result.text.isEmpty());
    EXPECT_EQ(m_status->getValue(), 0xA2B1u);
    EXPECT_FALSE(m_status->hasReadError());
    EXPECT_EQ(HwCommands::readPrint(*m_status, kHandle).text, QStringLiteral("0xA2B1"));

    m_status->setValue(0);
    result = HwCommands::readPrint(*m_mode, kHandle);
    EXPECT_TRUE(result.ok());
    EXPECT_EQ(result.value, 0x3u);
    EXPECT_EQ(result.text, QStringLiteral("0x3"));
    EXPECT_EQ(m_status->getValue(), 0xA2B1u); // the whole register is cached
    EXPECT_EQ(HwCommands::read(*m_ro, kHandle).value, 0xAu);

    // A signed integer caches the sign-extended value and prints its own width.
    sim::poke(kTarget, kBase + 0x0D, 0xF0, 1);
    result = HwCommands::readPrint(*m_signed, kHandle);
    EXPECT_EQ(result.value, 0xFFFFFFF0u);
    EXPECT_EQ(result.text, QStringLiteral("0xF0"));
}

TEST_F(CommandsTest, ProtectionIsHonouredUnlessForced)
{
    sim::poke(kTarget, kBase + 4, 0x1234);
    sim::poke(kTarget, kBase + 8, 0x5678);
    const struct {
        const char* label;
        std::function<HwCommandResult()> run;
        HwCommandStatus status;
    } rows[] = {
        {"R", [&] { return HwCommands::read(*m_hidden, kHandle); }, HwCommandStatus::ReadProtected},
        {"r", [&] { return HwCommands::readPrint(*m_hidden, kHandle); }, HwCommandStatus::ReadProtected},
        {"field R", [&] { return HwCommands::read(*m_hiddenField, kHandle); },
            HwCommandStatus::ReadProtected},
        {"w", [&] { return HwCommands::write(*m_locked, kHandle, 1); }, HwCommandStatus::WriteProtected},
        {"field w", [&] { return HwCommands::write(*m_lockedField, kHandle, 1); },
            HwCommandStatus::WriteProtected},
        {"read-only field w", [&] { return HwCommands::write(*m_ro, kHandle, 1); },
            HwCommandStatus::WriteProtected},
        {"set", [&] { return HwCommands::set(*m_lockedField, kHandle); }, HwCommandStatus::WriteProtected},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        sim::clearCalls();
        EXPECT_EQ(row.run().status, row.status);
        EXPECT_EQ(sim::calls(), std::vector<HostCall> {}); // refused before any host call
    }
    HwCommandResult result = HwCommands::readForcedPrint(*m_hidden, kHandle);
    EXPECT_TRUE(result.ok());
    EXPECT_EQ(result.text, QStringLiteral("0x1234"));
    EXPECT_EQ(HwCommands::readForced(*m_hiddenField, kHandle).value, 0x4u);
    EXPECT_TRUE(HwCommands::writeForced(*m_locked, kHandle, 0x9).ok());
    EXPECT_EQ(sim::peek(kTarget, kBase + 8), 0x9u);
    EXPECT_TRUE(HwCommands::writeForced(*m_lockedField, kHandle, 0x3).ok());
    EXPECT_EQ(sim::peek(kTarget, kBase + 8), 0x3u);
}

TEST_F(CommandsTest, FieldWritesLeaveSetAndClearFlagsOfOtherFieldsAlone)
{
    // en 1, mode 0, flag pending, trigger set, read-only nibble 5.
    sim::poke(kTarget, kBase, 0x5301);
    HwCommandResult result = HwCommands::write(*m_mode, kHandle, 2);
    ASSERT_TRUE(result.ok());
    EXPECT_EQ(result.value, 0x5021u); // flag and trigger bits written as 0
    EXPECT_EQ(sim::calls(),
        (std::vector<HostCall> {{Operation::Read32, kTarget, kBase, 0x5301, 0},
            {Operation::Write32, kTarget, kBase, 0x5021, 0}}));
    EXPECT_EQ(sim::peek(kTarget, kBase), 0x5321u);
    EXPECT_EQ(m_status->getValue(), 0x5301u); // the value read, as the cache

    // The flag itself is written with its 1: it clears, nothing else moves.
    ASSERT_TRUE(HwCommands::write(*m_flag, kHandle, 1).ok());
    EXPECT_EQ(sim::peek(kTarget, kBase), 0x5221u);
    ASSERT_TRUE(HwCommands::clear(*m_en, kHandle).ok());
    EXPECT_EQ(sim::peek(kTarget, kBase), 0x5220u);
    ASSERT_TRUE(HwCommands::set(*m_mode, kHandle).ok());
    EXPECT_EQ(sim::peek(kTarget, kBase), 0x5230u);
    // A forced write of the read-only field reaches the target, which keeps its bits.
    ASSERT_TRUE(HwCommands::writeForced(*m_ro, kHandle, 0).ok());
    EXPECT_EQ(sim::peek(kTarget, kBase), 0x5230u);
}

TEST_F(CommandsTest, ReadProtectedRegisterIsModifiedFromItsCache)
{
    sim::poke(kTarget, kBase + 4, 0xFF);
    m_hidden->setValue(0xA0);
    ASSERT_TRUE(HwCommands::write(*m_hiddenField, kHandle, 0x5).ok());
    EXPECT_EQ(sim::calls(), (std::vector<HostCall> {{Operation::Write32, kTarget, kBase + 4, 0xA5, 0}}));
}

TEST_F(CommandsTest, ValuesTooWideAreRefused)
{
    const struct {
        const char* label;
        std::function<HwCommandResult()> run;
        HwCommandStatus status;
    } rows[] = {
        {"reg8 w", [&] { return HwCommands::write(*m_byte, kHandle, 0x100); }, HwCommandStatus::ValueTooWide},
        {"reg8 setl", [&] { return HwCommands::setLocal(*m_byte, 0x1FF); }, HwCommandStatus::ValueTooWide},
        {"reg8 prepl", [&] { return HwCommands::prepareLocal(*m_byte, 0x100); },
            HwCommandStatus::ValueTooWide},
        {"int8 -1", [&] { return HwCommands::setLocal(*m_signed, 0xFFFFFFFF); }, HwCommandStatus::Ok},
        {"int8 -128", [&] { return HwCommands::setLocal(*m_signed, 0xFFFFFF80); }, HwCommandStatus::Ok},
        {"int8 -129", [&] { return HwCommands::setLocal(*m_signed, 0xFFFFFF7F); },
            HwCommandStatus::ValueTooWide},
        {"field w", [&] { return HwCommands::write(*m_mode, kHandle, 4); }, HwCommandStatus::ValueTooWide},
        {"field wf", [&] { return HwCommands::writeForced(*m_mode, kHandle, 4); },
            HwCommandStatus::ValueTooWide},
        {"field wl", [&] { return HwCommands::writeLocal(*m_mode, 0, 4); }, HwCommandStatus::ValueTooWide},
        {"byte field rl",
            [&] {
                auto* low = m_byte->addBitField(field("low", 1, 0, HwBitField::WRITE_NORMAL));
                return HwCommands::readLocal(*low, 0x100);
            },
            HwCommandStatus::ValueTooWide},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        sim::clearCalls();
        EXPECT_EQ(row.run().status, row.status);
        EXPECT_EQ(sim::calls(), std::vector<HostCall> {});
    }
    EXPECT_EQ(m_byte->getValue(), 0u);
}

TEST_F(CommandsTest, LocalCommands)
{
    EXPECT_EQ(HwCommands::setLocal(*m_status, 0x1234).value, 0x1234u);
    EXPECT_EQ(HwCommands::getLocal(*m_status).value, 0x1234u);
    EXPECT_EQ(HwCommands::prepareLocal(*m_status, 0xFFFF).value, 0xFCFFu);
    EXPECT_EQ(HwCommands::readLocal(*m_mode, 0x20).value, 0x2u);
    EXPECT_EQ(HwCommands::writeLocal(*m_mode, 0xFFFF, 1).value, 0xFFDFu);
    EXPECT_EQ(sim::calls(), std::vector<HostCall> {});
}

TEST_F(CommandsTest, AccessFailuresAreReportedAndFlagged)
{
    sim::setErrorCode(kTarget, kBase, 77);
    HwCommandResult result = HwCommands::read(*m_status, kHandle);
    EXPECT_EQ(result.status, HwCommandStatus::HostError);
    EXPECT_EQ(result.code, 77);
    EXPECT_TRUE(m_status->hasReadError());
    EXPECT_EQ(HwCommands::write(*m_mode, kHandle, 1).code, 77); // the read of the read-modify-write fails
    EXPECT_EQ(sim::calls().size(), 2u);
    EXPECT_EQ(HwCommands::write(*m_status, kHandle, 1).code, 77);

    result = HwCommands::readForced(*m_void, kHandle);
    EXPECT_EQ(result.status, HwCommandStatus::NoScalarWidth);
    EXPECT_EQ(result.code, 30);
    EXPECT_TRUE(m_void->hasReadError());

    // The element behind a pointer holding 0 on the target.
    m_pointed->setReadError(false);
    result = HwCommands::read(*m_pointed, kHandle);
    EXPECT_EQ(result.status, HwCommandStatus::NullPointer);
    EXPECT_EQ(result.code, 31);
    EXPECT_TRUE(m_pointed->hasReadError());
}

TEST_F(CommandsTest, DereferenceReadsThePointer)
{
    const std::uint32_t pointerAddress = kBase + 0x14;
    EXPECT_EQ(m_pointer->getBaseAddress(), pointerAddress);
    HwCommandResult result = HwCommands::dereference(*m_pointer, kHandle);
    EXPECT_EQ(result.status, HwCommandStatus::NullPointer);
    EXPECT_EQ(result.element, nullptr);

    sim::poke(kTarget, pointerAddress, 0x20000010);
    sim::poke(kTarget, 0x20000010, 0xBEEF, 2);
    result = HwCommands::dereference(*m_pointer, kHandle);
    ASSERT_TRUE(result.ok());
    EXPECT_EQ(result.value, 0x20000010u);
    EXPECT_EQ(result.element, m_pointed);
    EXPECT_EQ(result.element->getAddressString(), QStringLiteral("0x20000010"));
    EXPECT_EQ(HwCommands::readPrint(*m_pointed, kHandle).text, QStringLiteral("0xBEEF"));
    EXPECT_EQ(HwCommands::address(*m_pointed).text, QStringLiteral("0x20000010"));
}

TEST_F(CommandsTest, DispatcherRunsTheTable)
{
    sim::poke(kTarget, kBase, 0x5301);
    HwCommandResult result =
        runElementCommand(m_mode, QStringLiteral("w"), {QStringLiteral("0b10")}, kHandle);
    ASSERT_TRUE(result.ok());
    EXPECT_EQ(sim::peek(kTarget, kBase), 0x5321u);
    EXPECT_EQ(runElementCommand(m_mode, QStringLiteral("rf"), {}, kHandle).text, QStringLiteral("0x2"));
    EXPECT_EQ(
        runElementCommand(m_status, QStringLiteral("setl"), {QStringLiteral("0x10")}, kHandle).value, 0x10u);
    EXPECT_EQ(runElementCommand(m_status, QStringLiteral("getl"), {}, kHandle).value, 0x10u);
    EXPECT_EQ(runElementCommand(m_signed, QStringLiteral("setl"), {QStringLiteral("-2")}, kHandle).value,
        0xFFFFFFFEu);
    EXPECT_EQ(
        runElementCommand(m_mode, QStringLiteral("wl"), {QStringLiteral("0"), QStringLiteral("3")}, kHandle)
            .value,
        0x30u);
    EXPECT_EQ(
        runElementCommand(m_pointer, QStringLiteral(">"), {}, kHandle).status, HwCommandStatus::NullPointer);
    EXPECT_EQ(runElementCommand(m_status, QStringLiteral("address"), {}, kHandle).text,
        QStringLiteral("0x40000000"));

    const struct {
        const char* label;
        HwXMLElement* element;
        const char* command;
        QStringList arguments;
        HwCommandStatus status;
        const char* text; ///< what commandStatusText says
    } refusals[] = {
        {"unknown", m_status, "set", {}, HwCommandStatus::UnknownCommand, "unknown command"},
        {"case", m_status, "W", {QStringLiteral("1")}, HwCommandStatus::UnknownCommand, "unknown command"},
        {"not a pointer", m_status, ">", {}, HwCommandStatus::UnknownCommand, "unknown command"},
        {"no commands", &m_module, "doc", {}, HwCommandStatus::UnknownCommand, "unknown command"},
        {"null", nullptr, "doc", {}, HwCommandStatus::UnknownCommand, "unknown command"},
        {"missing", m_status, "w", {}, HwCommandStatus::BadArguments, "missing argument: w takes value"},
        {"missing second", m_mode, "wl", {QStringLiteral("0")}, HwCommandStatus::BadArguments,
            "missing argument: wl takes cacheval,value"},
        {"extra", m_status, "R", {QStringLiteral("1")}, HwCommandStatus::BadArguments,
            "too many arguments: R takes no argument"},
        {"garbage", m_status, "w", {QStringLiteral("12x")}, HwCommandStatus::BadArguments,
            "'12x' is not a number (decimal, 0x.., 0b..)"},
        {"expression", m_status, "w", {QStringLiteral("1+1")}, HwCommandStatus::BadArguments,
            "'1+1' is not a number (decimal, 0x.., 0b..)"},
        {"empty hex", m_status, "w", {QStringLiteral("0x")}, HwCommandStatus::BadArguments,
            "'0x' is not a number (decimal, 0x.., 0b..)"},
        {"33 bits", m_status, "w", {QStringLiteral("0x100000000")}, HwCommandStatus::ValueTooWide,
            "value too wide"},
        {"huge", m_status, "w", {QStringLiteral("99999999999999999999999")}, HwCommandStatus::ValueTooWide,
            "value too wide"},
        {"option of no field", m_status, "w", {QStringLiteral("ON")}, HwCommandStatus::BadArguments,
            "'ON' is not a number (decimal, 0x.., 0b..)"},
        {"option of a field without options", m_mode, "w", {QStringLiteral("ON")},
            HwCommandStatus::BadArguments, "'ON' is not a number (decimal, 0x.., 0b..)"},
    };
    sim::clearCalls();
    for (const auto& row : refusals) {
        SCOPED_TRACE(row.label);
        const HwCommandResult refusal =
            runElementCommand(row.element, QString::fromUtf8(row.command), row.arguments, kHandle);
        EXPECT_EQ(refusal.status, row.status);
        EXPECT_EQ(commandStatusText(refusal).toStdString(), row.text);
    }
    EXPECT_EQ(sim::calls(), std::vector<HostCall> {});

    m_mode->addOption({QStringLiteral("FAST"), 3, QString()});
    m_mode->addOption({QStringLiteral("SLOW"), 1, QString()});
    ASSERT_TRUE(runElementCommand(m_mode, QStringLiteral("w"), {QStringLiteral("FAST")}, kHandle).ok());
    EXPECT_EQ(
        commandStatusText(runElementCommand(m_mode, QStringLiteral("w"), {QStringLiteral("fast")}, kHandle))
            .toStdString(),
        "'fast' is not a number (decimal, 0x.., 0b..) nor an option of mode (FAST, SLOW)");
    EXPECT_EQ(sim::peek(kTarget, kBase) & 0x30, 0x30u);
}

TEST_F(CommandsTest, DocumentationText)
{
    m_status->setComment(QStringLiteral("Status register."));
    auto* level = m_status->addBitField(std::make_unique<HwBitField>(QStringLiteral("level"), true,
        HwBitField::WRITE_NORMAL, QStringLiteral("19"), 19, QStringLiteral("16"), 16, 2, true, DISPLAY_HEX));
    level->addOption({QStringLiteral("LOW"), 0, QString()});
    level->addOption({QStringLiteral("HIGH"), 0xA, QStringLiteral("Above the limit.")});
    level->setComment(QStringLiteral("Alarm level."));
    EXPECT_EQ(HwCommands::doc(*level).text,
        QStringLiteral("$m.st.level\n"
                       "Type: Bitfield [19:16]\n"
                       "Address: 0x40000000\n"
                       "Access: rw\n"
                       "Reset: 0x2\n"
                       "Options:\n"
                       "  LOW = 0x0\n"
                       "  HIGH = 0xA: Above the limit.\n"
                       "Comment: Alarm level.\n"));
    EXPECT_EQ(HwCommands::doc(*m_flag).text,
        QStringLiteral("$m.st.flag\nType: Bitfield [8]\nAddress: 0x40000000\nAccess: rc\nReset: -\n"));
    EXPECT_EQ(HwCommands::doc(*m_locked).text,
        QStringLiteral("$m.locked\nType: Reg32\nAddress: 0x40000008\nProtection: r-\nReset: -\n"
                       "Bitfields:\n  lo [3:0] rw reset -\n"));
    EXPECT_EQ(HwCommands::doc(*m_pointed).text,
        QStringLiteral("$m.p.>\nType: uint16\nAddress: 0x00000000\nProtection: rw\nReset: -\n"));
}

#ifdef VELLXML_DEMO_DIR

// The demo chip's interrupt controller through paths and command names, as a shell runs it.
TEST(DemoCommandsTest, ClearsOnePendingFlag)
{
    sim::reset();
    HwMemoryMap map;
    HwMemoryMapLoader loader;
    ASSERT_NE(loader.loadRootArchiveFromFile(
                  &map, QStringLiteral(VELLXML_DEMO_DIR "/chip.xml"), nullptr, nullptr, nullptr, true),
        nullptr);
    HwXMLElement* ifcr = map.getElementFromPath(QStringLiteral("DMA1.IFCR"));
    HwXMLElement* ctcif3 = map.getElementFromPath(QStringLiteral("DMA1.IFCR.CTCIF3"));
    ASSERT_NE(ifcr, nullptr);
    ASSERT_NE(ctcif3, nullptr);
    // IFCR is read-protected: not read unless forced, and a field write starts from the cache, with the
    // other clear bits at 0.
    EXPECT_EQ(
        runElementCommand(ifcr, QStringLiteral("r"), {}, kHandle).status, HwCommandStatus::ReadProtected);
    static_cast<HwValuable*>(ifcr)->setValue(0xFFFF);
    ASSERT_TRUE(runElementCommand(ctcif3, QStringLiteral("set"), {}, kHandle).ok());
    EXPECT_EQ(sim::calls(), (std::vector<HostCall> {{Operation::Write32, kTarget, 0x40020004, 0x8, 0}}));
    sim::reset();
}

#endif

} // namespace
