#ifndef VELLXML_TOOLS_REGISTER_VIEW_H
#define VELLXML_TOOLS_REGISTER_VIEW_H

// What the tool's register commands share: paths as users write them, elements found by address, values
// shown by each valuable's own rules, and the decoded view of a register or of a whole block.

#include <vellxml/model/valuable.h>

#include <QString>
#include <QStringList>

#include <cstdint>
#include <functional>

class HwBitGroup;
class HwMemoryMap;
class HwXMLElement;

namespace vellxml::cli {

/// What a path names: an element, or a bit group of a valuable (which is no element of its own).
struct PathTarget {
    HwXMLElement* element = nullptr;
    HwBitGroup* group = nullptr;
    explicit operator bool() const { return element || group; }
};

/// Called before a ">" token is followed, with the pointer and the path up to it; false (with `error`
/// set) stops the resolution. The shell reads the pointer here, so that what follows is found at the
/// address the pointer holds.
using PointerHook = std::function<bool(HwXMLElement& pointer, const QString& walked, QString& error)>;

/// Resolves a path as users write it: a leading "$" may be given or left out, and the last token may name a
/// bit group. A token after a bitfield or a bit group is refused: the model's lookup ignores such tokens,
/// so UART0.CR1.UE.TE would otherwise reach UE, and a write would land on the wrong field. On failure the
/// result is empty and `error` says why ("no element X", "X is a bitfield: nothing follows it (Y)").
PathTarget resolvePath(
    const HwMemoryMap& map, const QString& path, QString& error, const PointerHook& hook = {});

/// One offer that completes the last token of a path: the name, and the entry that describes it.
struct PathCompletion {
    QString name;
    CXMLCompletionEntry entry;
};

/// What may complete a path as users type it (a leading "$" may be given or left out), the same for the
/// shell's Tab and `vellxml complete`: the entries of the element that the complete tokens reach whose
/// names begin with the last, partial token, in the list's order, and after an array's entry its items
/// once the partial token begins with the array's name ("CH" and "CH[" offer CH[0], CH[1] ...). Reserved
/// gaps (entries without a name) are left out.
QList<PathCompletion> completePath(const HwMemoryMap& map, const QString& text);

/// The path as users type it: the element's path without its leading "$".
QString userPath(const HwXMLElement& element);
QString userPath(const HwBitGroup& group);

/// Reads an address written as "0x" and hexadecimal digits (32 bits at most).
bool parseAddress(const QString& text, std::uint32_t& address);

/// The innermost element of the chip whose bytes hold the address, searching the instances in order:
/// a register (never one of its bitfields), a reserved gap, a memory, or the innermost structure or array
/// when no member holds it. Null when no instance holds it.
HwXMLElement* elementAtAddress(const HwMemoryMap& map, std::uint32_t address);

/// The path of the element at the address, followed by " + 0xN" when the address is inside the element
/// rather than at its start.
QString describeAddress(const HwXMLElement& element, std::uint32_t address);

/// A value of the element as the user asked for it: hexadecimal and binary with every digit of the
/// valuable's width (a signed value cut to its width: an int16 holding -1 is 0xFFFF), decimal signed for
/// signed valuables and unsigned otherwise. A bitfield's value is its own, followed by its option name.
QString formatValue(const HwXMLElement* element, std::uint32_t value, DisplayType format);

/// A bit group's value (its bits moved down to bit 0): hexadecimal without leading zeros as a field's
/// value, binary with one digit per bit of the group's span, or decimal.
QString formatGroupValue(const HwBitGroup& group, std::uint32_t value, DisplayType format);

/// The decoded view of a valuable whose value is cached: "PATH = VALUE", then one line per bitfield in
/// declaration order, "  NAME [HIGH:LOW] = VALUE (OPTION)", aligned; "?" for fields that cannot be read.
QString decodedValuable(const HwValuable& valuable, DisplayType format);

} // namespace vellxml::cli

#endif
