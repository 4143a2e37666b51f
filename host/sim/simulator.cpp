#include <vellxml/host/simulator.h>

#include <map>
#include <unordered_map>

namespace vellxml::sim {
namespace {

/// What writes do to the bits of one byte.
struct ByteBehaviour {
    std::uint8_t readOnly = 0;
    std::uint8_t writeOneToClear = 0;
    std::uint8_t writeOneToSet = 0;
};

struct AddressSpace {
    std::unordered_map<std::uint32_t, std::uint8_t> bytes;
    std::unordered_map<std::uint32_t, ByteBehaviour> behaviours;
    std::unordered_map<std::uint32_t, int> errorCodes;
};

struct TargetState {
    AddressSpace memory;
    AddressSpace internal;

    AddressSpace& space(Space which) { return which == Space::Memory ? memory : internal; }
};

struct SimulatorState {
    std::map<int, TargetState> targets;
    std::vector<HostCall> log;
};

SimulatorState& state()
{
    static SimulatorState m_state;
    return m_state;
}

AddressSpace& spaceOf(int target, Space which)
{
    return state().targets[target].space(which);
}

std::uint8_t byteOf(std::uint32_t value, int index)
{
    return static_cast<std::uint8_t>(value >> (8 * index));
}

std::uint32_t load(const AddressSpace& space, std::uint32_t address, int bytes)
{
    std::uint32_t value = 0;
    for (int i = 0; i < bytes; ++i) {
        // Addresses wrap at 32 bits like the target's.
        const auto found = space.bytes.find(address + static_cast<std::uint32_t>(i));
        if (found != space.bytes.end())
            value |= static_cast<std::uint32_t>(found->second) << (8 * i);
    }
    return value;
}

std::uint8_t writtenByte(std::uint8_t old, std::uint8_t written, const ByteBehaviour& behaviour)
{
    const std::uint8_t readOnly = behaviour.readOnly;
    const auto clearing = static_cast<std::uint8_t>(behaviour.writeOneToClear & ~readOnly);
    const auto setting = static_cast<std::uint8_t>(behaviour.writeOneToSet & ~readOnly & ~clearing);
    const auto plain = static_cast<std::uint8_t>(~(readOnly | clearing | setting));
    return static_cast<std::uint8_t>(
        (old & readOnly) | (written & plain) | (old & ~written & clearing) | ((old | written) & setting));
}

void store(AddressSpace& space, std::uint32_t address, std::uint32_t value, int bytes)
{
    for (int i = 0; i < bytes; ++i) {
        const std::uint32_t at = address + static_cast<std::uint32_t>(i);
        std::uint8_t& byte = space.bytes[at];
        const auto behaviour = space.behaviours.find(at);
        byte = behaviour == space.behaviours.end() ? byteOf(value, i)
                                                   : writtenByte(byte, byteOf(value, i), behaviour->second);
    }
}

/// The code of the lowest failing byte of an access, or 0.
int errorFor(const AddressSpace& space, std::uint32_t address, int bytes)
{
    for (int i = 0; i < bytes; ++i) {
        const auto found = space.errorCodes.find(address + static_cast<std::uint32_t>(i));
        if (found != space.errorCodes.end())
            return found->second;
    }
    return 0;
}

int clampBytes(int bytes)
{
    return bytes < 1 ? 1 : (bytes > 4 ? 4 : bytes);
}

template<typename Field>
void setBehaviour(int target, std::uint32_t address, std::uint32_t mask, int bytes, Space which, Field field)
{
    AddressSpace& space = spaceOf(target, which);
    for (int i = 0; i < clampBytes(bytes); ++i)
        space.behaviours[address + static_cast<std::uint32_t>(i)].*field = byteOf(mask, i);
}

int hostRead(
    Operation operation, Space which, int target, std::uint32_t address, int bytes, std::uint32_t& value)
{
    AddressSpace& space = spaceOf(target, which);
    const int result = errorFor(space, address, bytes);
    value = result == 0 ? load(space, address, bytes) : 0;
    state().log.push_back({operation, target, address, value, result});
    return result;
}

int hostWrite(
    Operation operation, Space which, int target, std::uint32_t address, int bytes, std::uint32_t value)
{
    AddressSpace& space = spaceOf(target, which);
    const int result = errorFor(space, address, bytes);
    if (result == 0)
        store(space, address, value, bytes);
    state().log.push_back({operation, target, address, value, result});
    return result;
}

} // namespace

void reset()
{
    state().targets.clear();
    state().log.clear();
}

void resetTarget(int target)
{
    state().targets.erase(target);
}

void poke(int target, std::uint32_t address, std::uint32_t value, int bytes, Space space)
{
    AddressSpace& where = spaceOf(target, space);
    for (int i = 0; i < clampBytes(bytes); ++i)
        where.bytes[address + static_cast<std::uint32_t>(i)] = byteOf(value, i);
}

std::uint32_t peek(int target, std::uint32_t address, int bytes, Space space)
{
    return load(spaceOf(target, space), address, clampBytes(bytes));
}

void setReadOnlyBits(int target, std::uint32_t address, std::uint32_t mask, int bytes, Space space)
{
    setBehaviour(target, address, mask, bytes, space, &ByteBehaviour::readOnly);
}

void setWriteOneToClearBits(int target, std::uint32_t address, std::uint32_t mask, int bytes, Space space)
{
    setBehaviour(target, address, mask, bytes, space, &ByteBehaviour::writeOneToClear);
}

void setWriteOneToSetBits(int target, std::uint32_t address, std::uint32_t mask, int bytes, Space space)
{
    setBehaviour(target, address, mask, bytes, space, &ByteBehaviour::writeOneToSet);
}

void setErrorCode(int target, std::uint32_t address, int code, Space space)
{
    AddressSpace& where = spaceOf(target, space);
    if (code == 0)
        where.errorCodes.erase(address);
    else
        where.errorCodes[address] = code;
}

std::vector<HostCall> calls()
{
    return state().log;
}

void clearCalls()
{
    state().log.clear();
}

} // namespace vellxml::sim

namespace vellxml::sim {

int SimulatorBackend::read(int target, std::uint32_t address, host::Width width, std::uint32_t& value)
{
    const Space space = width == host::Width::Internal8 ? Space::Internal : Space::Memory;
    const Operation operation = width == host::Width::Bits8 ? Operation::Read8
        : width == host::Width::Bits16                      ? Operation::Read16
        : width == host::Width::Bits32                      ? Operation::Read32
                                                            : Operation::ReadInternal;
    std::uint32_t read = 0;
    const int result = hostRead(operation, space, target, address, host::bytesOf(width), read);
    if (result == 0)
        value = read;
    return result;
}

int SimulatorBackend::write(int target, std::uint32_t address, host::Width width, std::uint32_t value)
{
    const Space space = width == host::Width::Internal8 ? Space::Internal : Space::Memory;
    const Operation operation = width == host::Width::Bits8 ? Operation::Write8
        : width == host::Width::Bits16                      ? Operation::Write16
        : width == host::Width::Bits32                      ? Operation::Write32
                                                            : Operation::WriteInternal;
    const int bytes = host::bytesOf(width);
    const std::uint32_t mask = bytes == 4 ? 0xFFFFFFFFu : (1u << (8 * bytes)) - 1;
    return hostWrite(operation, space, target, address, bytes, value & mask);
}

std::string SimulatorBackend::describe() const
{
    return "simulated target";
}

} // namespace vellxml::sim
