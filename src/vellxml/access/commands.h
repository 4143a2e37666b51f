#ifndef VELLXML_ACCESS_COMMANDS_H
#define VELLXML_ACCESS_COMMANDS_H

#include <vellxml/model/element.h>
#include <vellxml/vellxml_export.h>

#include <QList>
#include <QString>
#include <QStringList>

#include <cstdint>

class HwBitField;
class HwBitGroup;
class HwPointer;
class HwValuable;

/// The target a command reads and writes: the handle that HwXMLElement::read/write hand unchanged to the
/// host library (a probe connection or core, as the host library defines it).
struct VELLXML_EXPORT HwTarget {
    int handle = 0;
};

/// How an element command ended.
enum class HwCommandStatus : int {
    Ok = 0,
    ReadProtected, ///< refused: the element or field is read-protected and the command does not force
    WriteProtected, ///< refused: the element or field is write-protected (or read-only) and the command does
                    ///< not force
    NoScalarWidth, ///< the target access answered 30: the element has no scalar width
    NullPointer, ///< a pointer on the path (or the dereferenced pointer) holds 0: the access answered 31
    HostError, ///< the host library failed; `code` holds its code
    ValueTooWide, ///< refused: the value does not fit the register or field, nothing was done
    NoPointedElement, ///< the pointer's pointed type cannot be made
    UnknownCommand, ///< the element does not offer a command of that name (dispatcher only)
    BadArguments ///< missing, extra or unreadable arguments (dispatcher only)
};

/// The outcome of one element command.
struct VELLXML_EXPORT HwCommandResult {
    HwCommandStatus status = HwCommandStatus::Ok;
    /// The target access's result when the target was accessed: 0, 30, 31 or the host's code.
    int code = 0;
    /// The command's value: the value read (of the register, or of the field), the cache, the address or
    /// the modified cache value. Meaningful when hasValue.
    std::uint32_t value = 0;
    bool hasValue = false;
    /// The text a printing command prints ("r", "rf": hexadecimal), the address string of "address", the
    /// documentation of "doc", the reason of a BadArguments refusal; empty otherwise.
    QString text;
    /// The pointed element given by ">".
    HwXMLElement* element = nullptr;

    bool ok() const { return status == HwCommandStatus::Ok; }
};

/// One command an element offers: its name and what its completion entry says. The completion lists and
/// runElementCommand read the same table.
struct VELLXML_EXPORT HwCommandInfo {
    QString name;
    QString arguments; ///< comma-separated argument names, empty when none
    QString result;
    QString help;
};

/// The commands offered on the element: those of a valuable (with ">" on a pointer), those of a bitfield,
/// none for other elements. In table order.
VELLXML_EXPORT QList<HwCommandInfo> elementCommands(const HwXMLElement* element);

/// Runs the command of that name (as the completion lists give it) on the element. The arguments are
/// numbers (decimal, "0x" hexadecimal, "0b" binary, a leading "-" for the two's complement) or, for a
/// bitfield's value, the name of one of its options. A null element, or a name the element does not offer,
/// gives UnknownCommand.
VELLXML_EXPORT HwCommandResult runElementCommand(
    HwXMLElement* element, const QString& command, const QStringList& arguments, HwTarget target);

/// The commands offered on a bit group. A bit group is no element, so the completion lists and the
/// lookup do not reach it as one: a tool finds it by name with HwValuable::getBitGroupByName. Its value is
/// the register's bits under the group's combined mask moved down by the group's shift (the lowest bit of
/// its fields); bits between non-adjacent fields read as 0 and must be written as 0.
VELLXML_EXPORT QList<HwCommandInfo> bitGroupCommands();

/// Runs a bit group command of bitGroupCommands(), with the arguments read as runElementCommand reads them
/// (numbers only: a group has no options).
VELLXML_EXPORT HwCommandResult runBitGroupCommand(
    HwBitGroup& group, const QString& command, const QStringList& arguments, HwTarget target);

/// A short English description of a status (and the host code), for a command line to print.
VELLXML_EXPORT QString commandStatusText(const HwCommandResult& result);

/// The element commands, one function per command name. Reads store the value read in the valuable's cache
/// (setValue) and clear its read-error flag; a failed access sets the flag. Values too wide for the
/// register or field are refused, never cut.
namespace HwCommands {

// Valuables (registers, integers, booleans, pointers).

/// "R": reads the valuable unless it is read-protected.
VELLXML_EXPORT HwCommandResult read(HwValuable& valuable, HwTarget target);
/// "r": as "R", and the text is the value in hexadecimal.
VELLXML_EXPORT HwCommandResult readPrint(HwValuable& valuable, HwTarget target);
/// "RF": reads the valuable whatever its read protection.
VELLXML_EXPORT HwCommandResult readForced(HwValuable& valuable, HwTarget target);
/// "rf": as "RF", and the text is the value in hexadecimal.
VELLXML_EXPORT HwCommandResult readForcedPrint(HwValuable& valuable, HwTarget target);
/// "getl": the cached value.
VELLXML_EXPORT HwCommandResult getLocal(HwValuable& valuable);
/// "setl": sets the cached value.
VELLXML_EXPORT HwCommandResult setLocal(HwValuable& valuable, std::uint32_t value);
/// "w": writes the valuable unless it is write-protected. The cache is left as it is.
VELLXML_EXPORT HwCommandResult write(HwValuable& valuable, HwTarget target, std::uint32_t value);
/// "wf": writes the valuable whatever its write protection.
VELLXML_EXPORT HwCommandResult writeForced(HwValuable& valuable, HwTarget target, std::uint32_t value);
/// "prepl": cacheval with the bits of every write-one-to-set and write-one-to-clear field cleared.
VELLXML_EXPORT HwCommandResult prepareLocal(HwValuable& valuable, std::uint32_t cacheValue);
/// ">": reads the pointer (unless read-protected) and gives the pointed element, made on demand. A pointer
/// holding 0 gives NullPointer (the 0 is still cached).
VELLXML_EXPORT HwCommandResult dereference(HwPointer& pointer, HwTarget target);

// Bitfields: reads and writes go through the parent register.

/// "R": reads the parent register unless the field or the register is read-protected; the value is the
/// field's.
VELLXML_EXPORT HwCommandResult read(HwBitField& field, HwTarget target);
/// "r": as "R", and the text is the field's value in hexadecimal.
VELLXML_EXPORT HwCommandResult readPrint(HwBitField& field, HwTarget target);
/// "RF": reads the parent register whatever the read protection.
VELLXML_EXPORT HwCommandResult readForced(HwBitField& field, HwTarget target);
/// "rf": as "RF", and the text is the field's value in hexadecimal.
VELLXML_EXPORT HwCommandResult readForcedPrint(HwBitField& field, HwTarget target);
/// "rl": the field's value in cacheval, taken as the register's value.
VELLXML_EXPORT HwCommandResult readLocal(HwBitField& field, std::uint32_t cacheValue);
/// "wl": cacheval, taken as the register's value, with the field's bits replaced by value.
VELLXML_EXPORT HwCommandResult writeLocal(HwBitField& field, std::uint32_t cacheValue, std::uint32_t value);
/// "w": read-modify-write of the parent register, refused when the field is read-only or the register
/// write-protected. The register is read (and cached) when it is readable, else its cache is the base;
/// the bits of the write-one-to-set and write-one-to-clear fields are written as 0 except the target's.
VELLXML_EXPORT HwCommandResult write(HwBitField& field, HwTarget target, std::uint32_t value);
/// "wf": as "w", whatever the write protection.
VELLXML_EXPORT HwCommandResult writeForced(HwBitField& field, HwTarget target, std::uint32_t value);
/// "set": "w" with every bit of the field at 1.
VELLXML_EXPORT HwCommandResult set(HwBitField& field, HwTarget target);
/// "clear": "w" with 0.
VELLXML_EXPORT HwCommandResult clear(HwBitField& field, HwTarget target);

// Bit groups: reads and writes go through the parent register, as for a bitfield. The group is readable
// when the register and every field of it are, writable when the register is and no field is read-only.

/// "R" of a bit group (force: "RF"): reads the parent register; the value is the group's.
VELLXML_EXPORT HwCommandResult read(HwBitGroup& group, HwTarget target, bool force = false);
/// "w" of a bit group (force: "wf"): read-modify-write of the parent register; the bits of the
/// write-one-to-set and write-one-to-clear fields outside the group are written as 0.
VELLXML_EXPORT HwCommandResult write(
    HwBitGroup& group, HwTarget target, std::uint32_t value, bool force = false);
/// The documentation text of a bit group: path, kind, address, access, mask and fields.
VELLXML_EXPORT QString documentation(const HwBitGroup& group);

// Any element.

/// "address": the base address, and its text ("0x" and eight upper-case hexadecimal digits).
VELLXML_EXPORT HwCommandResult address(const HwXMLElement& element);
/// "doc": the documentation text: path, type, address, protection or access, reset value, bitfields or
/// options, comment.
VELLXML_EXPORT HwCommandResult doc(const HwXMLElement& element);
/// The documentation text of "doc".
VELLXML_EXPORT QString documentation(const HwXMLElement& element);

} // namespace HwCommands

#endif
