#ifndef VELLXML_GENERATORS_GENERATOR_TEXT_H
#define VELLXML_GENERATORS_GENERATOR_TEXT_H

#include <vellxml/vellxml_export.h>

#include <QHash>
#include <QSet>
#include <QString>
#include <QStringList>

class HwBitField;
class HwStruct;
class HwXMLElement;

// Text helpers shared by the C header, assembly header and VHDL package generators.

/// One C macro line: "#define " (or "//#define " when commented, or when the registry already holds the
/// name with the same value), the name, "(n)" when withArgument, blanks to column 35 and the value. A name
/// that the registry holds with another value is a conflict: "Conflict macro: <name>" goes to standard output
/// and the name becomes the first free or matching "<name>_X1", "<name>_X2" ... The registry (name to value)
/// is shared by the macros of one generated type.
VELLXML_EXPORT QString OuputMacro(bool commented, bool withArgument, const QString& name,
    const QString& value, QHash<QString, QString>& registry);

/// True for a name that upper-cases to "RESERVED": its macros are written commented out.
VELLXML_EXPORT bool SkippedMacro(const QString& name);

/// The position and access comment of a bitfield in a union: "[4]" or "[5:4]", then ", write set",
/// ", write clear" or ", read only" for those access kinds.
VELLXML_EXPORT QString BitFieldPosWriteType(const HwBitField* bitField);

/// Every C hexadecimal literal that starts the text or follows a character other than a letter, digit or
/// '_' becomes a VHDL based literal: "0x1F" gives "16#1F#".
VELLXML_EXPORT QString vhdl_hexadecimal_regularize(const QString& text);

/// exp2(N) becomes 2**(N) (in any case, shortest match), then vhdl_hexadecimal_regularize.
VELLXML_EXPORT QString vhdl_clean_expr(const QString& text);

/// The address bits a module of that many bits decodes: the index of the highest set bit of its byte count
/// (rounded up), plus one when that count is not a power of two; 1 for no byte at all.
VELLXML_EXPORT int vhdl_log2(unsigned int bits);

/// A legal C11 identifier for a description name: every character outside [A-Za-z0-9_] becomes '_', a
/// leading digit (or an empty name) gets a '_' in front, and a C keyword gets a '_' behind ("int" gives
/// "int_", "2nd" gives "_2nd", "a.b" gives "a_b").
VELLXML_EXPORT QString cIdentifier(const QString& name);

/// The C member names of a structure's members, in member order: each member's cIdentifier (a hole
/// "Reserved_" and its offset in eight hexadecimal digits), made unique inside the structure by "_2", "_3"
/// ... behind a name already taken. C compares names with case, so "reserved" and "Reserved" both stay.
VELLXML_EXPORT QStringList cMemberNames(const HwStruct* structure);

/// The C type name a structure is declared with: "HWP_" + type + "_T" for a module, the type's own C name
/// for a typedef, both legal identifiers.
VELLXML_EXPORT QString cStructTypeName(const HwStruct* structure);

/// A legal VHDL identifier part for a description name: characters outside [A-Za-z0-9_] become '_', runs of
/// '_' become one, and leading and trailing '_' are dropped ("HPB0_" gives "HPB0", "a__b" gives "a_b"); an
/// empty result is "x". Prefixes such as "l_" are put in front by the callers.
VELLXML_EXPORT QString vhdlNamePart(const QString& name);

/// A whole VHDL identifier: vhdlNamePart, with a leading digit given an "n" in front and a reserved word
/// given "_id" behind ("out" gives "out_id", "2nd" gives "n2nd").
VELLXML_EXPORT QString vhdlIdentifier(const QString& name);

/// The names a VHDL package has declared so far. VHDL identifiers ignore case, so the names are compared
/// without it; lookups take constant time, as a package may declare hundreds of thousands of names.
class VELLXML_EXPORT HwVHDLNames {
public:
    /// Records the name and returns true, or returns false when a name equal but for case was declared.
    bool declare(const QString& name);
    bool contains(const QString& name) const;
    /// The names in declaration order.
    const QStringList& names() const { return m_names; }

private:
    QStringList m_names;
    QSet<QString> m_folded;
};

#endif
