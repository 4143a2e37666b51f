#include "host/host_support.h"

#include <vellxml/host/probe.h>
#include <vellxml/host/simulator.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

namespace sim = vellxml::sim;
using sim::HostCall;
using sim::Operation;

class SimulatorTest : public testing::Test {
protected:
    void SetUp() override { sim::reset(); }
    void TearDown() override { sim::reset(); }
};

TEST_F(SimulatorTest, MemoryIsSparseLittleEndianAndZeroWhereNeverWritten)
{
    std::uint32_t word = 0xFFFFFFFF;
    EXPECT_EQ(PROBE_Read32(1, 0x80000000, &word), 0);
    EXPECT_EQ(word, 0u);

    ASSERT_EQ(PROBE_Write32(1, 0x1000, 0x11223344), 0);
    std::uint8_t byte = 0;
    std::uint16_t half = 0;
    EXPECT_EQ(PROBE_Read8(1, 0x1000, &byte), 0);
    EXPECT_EQ(byte, 0x44);
    EXPECT_EQ(PROBE_Read8(1, 0x1003, &byte), 0);
    EXPECT_EQ(byte, 0x11);
    EXPECT_EQ(PROBE_Read16(1, 0x1001, &half), 0);
    EXPECT_EQ(half, 0x2233);
    EXPECT_EQ(PROBE_Read32(1, 0x1002, &word), 0);
    EXPECT_EQ(word, 0x00001122u);

    ASSERT_EQ(PROBE_Write16(1, 0x1001, 0xBEEF), 0);
    ASSERT_EQ(PROBE_Write8(1, 0x1004, 0x55), 0);
    EXPECT_EQ(sim::peek(1, 0x1000), 0x11BEEF44u);
    EXPECT_EQ(sim::peek(1, 0x1004, 1), 0x55u);

    // Accesses wrap around the top of the address space.
    ASSERT_EQ(PROBE_Write32(1, 0xFFFFFFFE, 0xA1B2C3D4), 0);
    EXPECT_EQ(sim::peek(1, 0xFFFFFFFE, 2), 0xC3D4u);
    EXPECT_EQ(sim::peek(1, 0, 2), 0xA1B2u);
}

TEST_F(SimulatorTest, TargetsAndInternalRegistersAreSeparateSpaces)
{
    ASSERT_EQ(PROBE_Write8(1, 0x10, 0xAA), 0);
    ASSERT_EQ(PROBE_WriteInternal(1, 0x10, 0xBB), 0);
    ASSERT_EQ(PROBE_Write8(2, 0x10, 0xCC), 0);
    std::uint8_t byte = 0;
    EXPECT_EQ(PROBE_Read8(1, 0x10, &byte), 0);
    EXPECT_EQ(byte, 0xAA);
    EXPECT_EQ(PROBE_ReadInternal(1, 0x10, &byte), 0);
    EXPECT_EQ(byte, 0xBB);
    EXPECT_EQ(PROBE_Read8(2, 0x10, &byte), 0);
    EXPECT_EQ(byte, 0xCC);
    EXPECT_EQ(PROBE_ReadInternal(2, 0x10, &byte), 0);
    EXPECT_EQ(byte, 0x00);

    sim::resetTarget(1);
    EXPECT_EQ(sim::peek(1, 0x10, 1), 0u);
    EXPECT_EQ(sim::peek(1, 0x10, 1, sim::Space::Internal), 0u);
    EXPECT_EQ(sim::peek(2, 0x10, 1), 0xCCu);
}

TEST_F(SimulatorTest, WritesHonourReadOnlyAndWriteOneBits)
{
    const struct {
        const char* label;
        std::uint8_t readOnly;
        std::uint8_t clear;
        std::uint8_t set;
        std::uint8_t before;
        std::uint8_t written;
        std::uint8_t after;
    } rows[] = {
        {"plain", 0x00, 0x00, 0x00, 0x5A, 0xC3, 0xC3},
        {"read-only keeps", 0xF0, 0x00, 0x00, 0x5A, 0xC3, 0x53},
        {"clear where 1 is written", 0x00, 0x0F, 0x00, 0x0F, 0x05, 0x0A},
        {"clear keeps where 0 is written", 0x00, 0x0F, 0x00, 0x0F, 0x00, 0x0F},
        {"set where 1 is written", 0x00, 0x00, 0x0F, 0x00, 0x05, 0x05},
        {"set keeps where 0 is written", 0x00, 0x00, 0x0F, 0x0A, 0x00, 0x0A},
        {"mixed", 0x80, 0x0C, 0x03, 0x8C, 0x75, 0xF9},
        {"read-only wins", 0xFF, 0xFF, 0xFF, 0x3C, 0xFF, 0x3C},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        sim::resetTarget(3);
        sim::poke(3, 0x20, row.before, 1);
        sim::setReadOnlyBits(3, 0x20, row.readOnly, 1);
        sim::setWriteOneToClearBits(3, 0x20, row.clear, 1);
        sim::setWriteOneToSetBits(3, 0x20, row.set, 1);
        ASSERT_EQ(PROBE_Write8(3, 0x20, row.written), 0);
        EXPECT_EQ(sim::peek(3, 0x20, 1), row.after);
    }
}

TEST_F(SimulatorTest, BitBehavioursSpreadOverTheBytesOfAMask)
{
    sim::poke(1, 0x100, 0xFFFF0000);
    sim::setWriteOneToClearBits(1, 0x100, 0xFFFF0000);
    sim::setReadOnlyBits(1, 0x100, 0x000000FF);
    ASSERT_EQ(PROBE_Write32(1, 0x100, 0x0F0F1234), 0);
    EXPECT_EQ(sim::peek(1, 0x100), 0xF0F01200u);
    // A 16-bit mask leaves the bytes beyond it alone.
    sim::setReadOnlyBits(1, 0x102, 0x0000, 2);
    sim::setReadOnlyBits(1, 0x100, 0xFF00, 2);
    ASSERT_EQ(PROBE_Write32(1, 0x100, 0xFFFFFFFF), 0);
    EXPECT_EQ(sim::peek(1, 0x100), 0x000012FFu);
    // Internal registers have their own behaviours.
    sim::setReadOnlyBits(1, 0x100, 0x0F, 1, sim::Space::Internal);
    sim::poke(1, 0x100, 0x05, 1, sim::Space::Internal);
    ASSERT_EQ(PROBE_WriteInternal(1, 0x100, 0xF0), 0);
    EXPECT_EQ(sim::peek(1, 0x100, 1, sim::Space::Internal), 0xF5u);
}

TEST_F(SimulatorTest, ErrorCodesFailEveryAccessTouchingTheAddress)
{
    sim::poke(1, 0x200, 0x12345678);
    sim::setErrorCode(1, 0x202, 7);
    sim::setErrorCode(1, 0x203, 9);
    std::uint32_t word = 0xDEADBEEF;
    std::uint16_t half = 0xBEEF;
    std::uint8_t byte = 0xEF;
    EXPECT_EQ(PROBE_Read32(1, 0x200, &word), 7);
    EXPECT_EQ(word, 0xDEADBEEFu);
    EXPECT_EQ(PROBE_Read16(1, 0x202, &half), 7);
    EXPECT_EQ(half, 0xBEEF);
    EXPECT_EQ(PROBE_Read8(1, 0x203, &byte), 9);
    EXPECT_EQ(PROBE_Read16(1, 0x200, &half), 0);
    EXPECT_EQ(half, 0x5678);
    EXPECT_EQ(PROBE_Write32(1, 0x1FF, 0), 7);
    EXPECT_EQ(PROBE_Write8(1, 0x203, 0), 9);
    EXPECT_EQ(sim::peek(1, 0x1FC), 0u);
    EXPECT_EQ(sim::peek(1, 0x200), 0x12345678u);
    // The memory space's errors do not reach the internal registers, and code 0 lifts an error.
    EXPECT_EQ(PROBE_ReadInternal(1, 0x202, &byte), 0);
    sim::setErrorCode(1, 0x202, 0);
    sim::setErrorCode(1, 0x203, 0);
    EXPECT_EQ(PROBE_Read32(1, 0x200, &word), 0);
    EXPECT_EQ(word, 0x12345678u);
    sim::setErrorCode(1, 0x5, 4, sim::Space::Internal);
    EXPECT_EQ(PROBE_WriteInternal(1, 0x5, 1), 4);
    EXPECT_EQ(PROBE_Write8(1, 0x5, 1), 0);
}

TEST_F(SimulatorTest, EveryCallIsLogged)
{
    std::uint8_t byte = 0;
    std::uint16_t half = 0;
    std::uint32_t word = 0;
    sim::poke(4, 0x10, 0xCAFEBABE);
    sim::setErrorCode(4, 0x30, 12);
    PROBE_Read8(4, 0x10, &byte);
    PROBE_Read16(4, 0x12, &half);
    PROBE_Read32(4, 0x10, &word);
    PROBE_ReadInternal(5, 0x1, &byte);
    PROBE_Write8(4, 0x20, 0x1);
    PROBE_Write16(4, 0x22, 0x2233);
    PROBE_Write32(4, 0x30, 0x44556677);
    PROBE_WriteInternal(5, 0x2, 0x88);
    PROBE_Read32(4, 0x30, &word);
    const std::vector<HostCall> expected {
        {Operation::Read8, 4, 0x10, 0xBE, 0},
        {Operation::Read16, 4, 0x12, 0xCAFE, 0},
        {Operation::Read32, 4, 0x10, 0xCAFEBABE, 0},
        {Operation::ReadInternal, 5, 0x1, 0x00, 0},
        {Operation::Write8, 4, 0x20, 0x01, 0},
        {Operation::Write16, 4, 0x22, 0x2233, 0},
        {Operation::Write32, 4, 0x30, 0x44556677, 12},
        {Operation::WriteInternal, 5, 0x2, 0x88, 0},
        {Operation::Read32, 4, 0x30, 0, 12},
    };
    EXPECT_EQ(sim::calls(), expected);
    sim::clearCalls();
    EXPECT_TRUE(sim::calls().empty());
    EXPECT_EQ(sim::peek(5, 0x2, 1, sim::Space::Internal), 0x88u);
    sim::reset();
    EXPECT_EQ(sim::peek(5, 0x2, 1, sim::Space::Internal), 0u);
    EXPECT_EQ(sim::peek(4, 0x10), 0u);
}

} // namespace
