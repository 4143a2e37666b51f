// Reading and writing elements on the target through the host library.

#include <vellxml/host/probe.h>
#include <vellxml/model/element.h>
#include <vellxml/model/valuable.h>

#include <cstdint>
#include <type_traits>
#include <vector>

static_assert(std::is_same_v<unsigned int, std::uint32_t>, "read() hands its value to PROBE_Read32");

namespace {

enum class AccessWidth { None, Bits8, Internal8, Bits16, Bits32 };

AccessWidth accessWidthOf(XMLElementType type)
{
    switch (type) {
    case TYPE_REG32:
    case TYPE_POINTER:
    case TYPE_INT32:
    case TYPE_UINT32:
        return AccessWidth::Bits32;
    case TYPE_REG16:
    case TYPE_INT16:
    case TYPE_UINT16:
        return AccessWidth::Bits16;
    case TYPE_REG8:
    case TYPE_INT8:
    case TYPE_UINT8:
    case TYPE_BOOL:
        return AccessWidth::Bits8;
    case TYPE_IREG8:
        return AccessWidth::Internal8;
    default:
        // Voids, bitfields, structures, arrays, holes, memories, externals and archives have no single
        // value on the target.
        return AccessWidth::None;
    }
}

/// Reads every pointer between the outermost ancestor and the element, from the outside in, and gives each
/// the target's value, so that the element's base address is where the target's pointers lead now.
int resolvePointersOnPath(int target, const HwXMLElement* element)
{
    std::vector<HwXMLElement*> ancestors;
    for (HwXMLElement* ancestor = element->getParent(); ancestor; ancestor = ancestor->getParent())
        ancestors.push_back(ancestor);
    for (auto it = ancestors.rbegin(); it != ancestors.rend(); ++it) {
        HwXMLElement* ancestor = *it;
        if (ancestor->getType() != TYPE_POINTER)
            continue;
        std::uint32_t pointed = 0;
        const int result = PROBE_Read32(target, ancestor->getBaseAddress(), &pointed);
        if (result != 0)
            return result;
        if (pointed == 0)
            return ACCESS_NULL_POINTER;
        static_cast<HwValuable*>(ancestor)->setValue(pointed);
    }
    return ACCESS_OK;
}

} // namespace

int HwXMLElement::read(int target, unsigned int& value)
{
    const AccessWidth width = accessWidthOf(getType());
    if (width == AccessWidth::None)
        return ACCESS_NO_SCALAR_WIDTH;
    if (const int result = resolvePointersOnPath(target, this); result != ACCESS_OK)
        return result;
    const std::uint32_t address = getBaseAddress();
    switch (width) {
    case AccessWidth::Bits8:
    case AccessWidth::Internal8: {
        std::uint8_t byte = 0;
        const int result = width == AccessWidth::Bits8 ? PROBE_Read8(target, address, &byte)
                                                       : PROBE_ReadInternal(target, address, &byte);
        if (result == 0)
            value = byte;
        return result;
    }
    case AccessWidth::Bits16: {
        std::uint16_t half = 0;
        const int result = PROBE_Read16(target, address, &half);
        if (result == 0)
            value = half;
        return result;
    }
    case AccessWidth::Bits32:
        // The host writes the result directly; on failure it alone decides what value then holds.
        return PROBE_Read32(target, address, &value);
    case AccessWidth::None:
        break;
    }
    return ACCESS_NO_SCALAR_WIDTH;
}

int HwXMLElement::write(int target, unsigned int value)
{
    const AccessWidth width = accessWidthOf(getType());
    if (width == AccessWidth::None)
        return ACCESS_NO_SCALAR_WIDTH;
    if (const int result = resolvePointersOnPath(target, this); result != ACCESS_OK)
        return result;
    const std::uint32_t address = getBaseAddress();
    switch (width) {
    case AccessWidth::Bits8:
        return PROBE_Write8(target, address, static_cast<std::uint8_t>(value));
    case AccessWidth::Internal8:
        return PROBE_WriteInternal(target, address, static_cast<std::uint8_t>(value));
    case AccessWidth::Bits16:
        return PROBE_Write16(target, address, static_cast<std::uint16_t>(value));
    case AccessWidth::Bits32:
        return PROBE_Write32(target, address, value);
    case AccessWidth::None:
        break;
    }
    return ACCESS_NO_SCALAR_WIDTH;
}
