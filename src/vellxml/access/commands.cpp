// The element commands that the completion lists offer, and the one table that names them.

#include "command_table_p.h"

#include <vellxml/access/commands.h>
#include <vellxml/loader/text_helpers.h>
#include <vellxml/model/bitfield.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/valuable.h>

#include <QStringList>

#include <algorithm>

using vellxml::access_p::CommandEntry;
using vellxml::access_p::CommandScope;

namespace {

QString hexText(std::uint32_t value)
{
    return QLatin1String("0x") + QString::number(value, 16).toUpper();
}

/// The bits of the valuable's width.
std::uint32_t widthMask(const HwValuable& valuable)
{
    const unsigned int bits = valuable.getBitSize();
    return bits >= 32 ? 0xFFFFFFFFu : (1u << bits) - 1u;
}

/// True when value is a value of the valuable's width: its bits, or for a signed valuable the sign
/// extension of a negative value of that width.
bool fitsValuable(const HwValuable& valuable, std::uint32_t value)
{
    const std::uint32_t mask = widthMask(valuable);
    if ((value & ~mask) == 0)
        return true;
    const std::uint32_t signBit = (mask >> 1) + 1;
    return valuable.isSigned() && (value | mask) == 0xFFFFFFFFu && (value & signBit) != 0;
}

HwCommandResult refused(HwCommandStatus status)
{
    HwCommandResult result;
    result.status = status;
    return result;
}

HwCommandResult withValue(std::uint32_t value)
{
    HwCommandResult result;
    result.value = value;
    result.hasValue = true;
    return result;
}

/// The result of a failed target access: its code and the status it stands for.
HwCommandResult accessFailure(int code)
{
    HwCommandResult result;
    result.code = code;
    if (code == ACCESS_NO_SCALAR_WIDTH)
        result.status = HwCommandStatus::NoScalarWidth;
    else if (code == ACCESS_NULL_POINTER)
        result.status = HwCommandStatus::NullPointer;
    else
        result.status = HwCommandStatus::HostError;
    return result;
}

/// Reads the valuable from the target into its cache. Returns the access's code; the read-error flag
/// follows it.
int readIntoCache(HwValuable& valuable, HwTarget target)
{
    unsigned int value = 0;
    const int code = valuable.read(target.handle, value);
    if (code != ACCESS_OK) {
        valuable.setReadError(true);
        return code;
    }
    valuable.setValue(value);
    valuable.setReadError(false);
    return ACCESS_OK;
}

HwCommandResult readValuable(HwValuable& valuable, HwTarget target, bool force, bool print)
{
    if (!force && !valuable.isReadable())
        return refused(HwCommandStatus::ReadProtected);
    if (const int code = readIntoCache(valuable, target); code != ACCESS_OK)
        return accessFailure(code);
    HwCommandResult result = withValue(valuable.getValue());
    if (print)
        result.text = hexText(result.value & widthMask(valuable));
    return result;
}

HwCommandResult writeValuable(HwValuable& valuable, HwTarget target, std::uint32_t value, bool force)
{
    if (!force && !valuable.isWritable())
        return refused(HwCommandStatus::WriteProtected);
    if (!fitsValuable(valuable, value))
        return refused(HwCommandStatus::ValueTooWide);
    if (const int code = valuable.write(target.handle, value); code != ACCESS_OK)
        return accessFailure(code);
    return withValue(value & widthMask(valuable));
}

HwCommandResult readField(HwBitField& field, HwTarget target, bool force, bool print)
{
    HwValuable* valuable = field.getValuable();
    if (!valuable)
        return accessFailure(ACCESS_NO_SCALAR_WIDTH);
    if (!force && (!field.isReadable() || !valuable->isReadable()))
        return refused(HwCommandStatus::ReadProtected);
    if (const int code = readIntoCache(*valuable, target); code != ACCESS_OK)
        return accessFailure(code);
    HwCommandResult result = withValue(field.getValue());
    if (print)
        result.text = field.convertValueToValueString(result.value, DISPLAY_HEX, false, false);
    return result;
}

HwCommandResult writeField(HwBitField& field, HwTarget target, std::uint32_t value, bool force)
{
    HwValuable* valuable = field.getValuable();
    if (!valuable)
        return accessFailure(ACCESS_NO_SCALAR_WIDTH);
    if (!force && (field.getWriteKind() == HwBitField::WRITE_NONE || !valuable->isWritable()))
        return refused(HwCommandStatus::WriteProtected);
    if ((value & ~field.getFullValueShifted()) != 0)
        return refused(HwCommandStatus::ValueTooWide);
    // The register is read for the other fields' values, unless it is read-protected: the debugger never
    // reads such a register on its own, so its cache stands in.
    if (valuable->isReadable()) {
        if (const int code = readIntoCache(*valuable, target); code != ACCESS_OK)
            return accessFailure(code);
    }
    // Write-one-to-set and write-one-to-clear bits go out as 0, except the target field's.
    const std::uint32_t out = field.insertValueInCache(valuable->getValueForWritingBitfield(), value);
    if (const int code = valuable->write(target.handle, out); code != ACCESS_OK)
        return accessFailure(code);
    return withValue(out & widthMask(*valuable));
}

// Adapters from the dispatcher's form to the command functions. The element's kind was checked by the
// table's scope before they run.

HwValuable& asValuable(HwXMLElement& element)
{
    return static_cast<HwValuable&>(element);
}

HwBitField& asField(HwXMLElement& element)
{
    return static_cast<HwBitField&>(element);
}

const CommandEntry kValuableCommands[] = {
    {QStringLiteral("doc"), QString(), QStringLiteral("str"),
        QStringLiteral("Returns the documentation of this valuable."), CommandScope::Valuable, 0,
        [](HwXMLElement& e, const std::uint32_t*, HwTarget) { return HwCommands::doc(e); }},
    {QStringLiteral("address"), QString(), QString(), QStringLiteral("Returns the address of the bitfield."),
        CommandScope::Valuable, 0,
        [](HwXMLElement& e, const std::uint32_t*, HwTarget) { return HwCommands::address(e); }},
    {QStringLiteral("R"), QString(), QString(),
        QStringLiteral("Reads this valuable and then returns its value. Does not print the result."),
        CommandScope::Valuable, 0,
        [](HwXMLElement& e, const std::uint32_t*, HwTarget t) { return HwCommands::read(asValuable(e), t); }},
    {QStringLiteral("r"), QString(), QString(),
        QStringLiteral("Reads this valuable and then returns its value. Prints the result in hex."),
        CommandScope::Valuable, 0,
        [](HwXMLElement& e, const std::uint32_t*, HwTarget t) {
            return HwCommands::readPrint(asValuable(e), t);
        }},
    {QStringLiteral("RF"), QString(), QString(),
        QStringLiteral("Forces the reading of this valuable and then returns its value (besides the read "
                       "protection). Does not print the result."),
        CommandScope::Valuable, 0,
        [](HwXMLElement& e, const std::uint32_t*, HwTarget t) {
            return HwCommands::readForced(asValuable(e), t);
        }},
    {QStringLiteral("rf"), QString(), QString(),
        QStringLiteral("Forces the reading of this valuable and then returns its value (besides the read "
                       "protection). Prints the result in hex."),
        CommandScope::Valuable, 0,
        [](HwXMLElement& e, const std::uint32_t*, HwTarget t) {
            return HwCommands::readForcedPrint(asValuable(e), t);
        }},
    {QStringLiteral("prepl"), QStringLiteral("cacheval"), QStringLiteral("newcacheval"),
        QStringLiteral("Modifies a 'cacheval' value, taken as the valuable value, by setting all the set and "
                       "clear bits to 0. Returns the modified value."),
        CommandScope::Valuable, 1,
        [](HwXMLElement& e, const std::uint32_t* a, HwTarget) {
            return HwCommands::prepareLocal(asValuable(e), a[0]);
        }},
    {QStringLiteral("getl"), QString(), QString(),
        QStringLiteral("Returns the cache value of this valuable."), CommandScope::Valuable, 0,
        [](HwXMLElement& e, const std::uint32_t*, HwTarget) { return HwCommands::getLocal(asValuable(e)); }},
    // The entry names no argument; the command takes the new cache value.
    {QStringLiteral("setl"), QString(), QString(), QStringLiteral("Sets the cache value of this valuable."),
        CommandScope::Valuable, 1,
        [](HwXMLElement& e, const std::uint32_t* a, HwTarget) {
            return HwCommands::setLocal(asValuable(e), a[0]);
        }},
    {QStringLiteral("w"), QStringLiteral("value"), QString(),
        QStringLiteral("Writes 'value' into the valuable."), CommandScope::Valuable, 1,
        [](HwXMLElement& e, const std::uint32_t* a, HwTarget t) {
            return HwCommands::write(asValuable(e), t, a[0]);
        }},
    {QStringLiteral("wf"), QStringLiteral("value"), QString(),
        QStringLiteral("Writes 'value' into the valuable (overiding the write protection)."),
        CommandScope::Valuable, 1,
        [](HwXMLElement& e, const std::uint32_t* a, HwTarget t) {
            return HwCommands::writeForced(asValuable(e), t, a[0]);
        }},
    {QStringLiteral(">"), QString(), QStringLiteral("value"),
        QStringLiteral("Dereferences the pointer (reads its value, and returns the element at the pointed "
                       "address)."),
        CommandScope::Pointer, 0,
        [](HwXMLElement& e, const std::uint32_t*, HwTarget t) {
            return HwCommands::dereference(static_cast<HwPointer&>(e), t);
        }},
};

const CommandEntry kBitfieldCommands[] = {
    {QStringLiteral("address"), QString(), QString(), QStringLiteral("Returns the address of the bitfield."),
        CommandScope::Bitfield, 0,
        [](HwXMLElement& e, const std::uint32_t*, HwTarget) { return HwCommands::address(e); }},
    {QStringLiteral("doc"), QString(), QStringLiteral("str"),
        QStringLiteral("Returns the documentation of the bitfield."), CommandScope::Bitfield, 0,
        [](HwXMLElement& e, const std::uint32_t*, HwTarget) { return HwCommands::doc(e); }},
    {QStringLiteral("R"), QString(), QStringLiteral("val"),
        QStringLiteral("Reads the parent register and then returns the value of the bitfield. Does not print "
                       "the result."),
        CommandScope::Bitfield, 0,
        [](HwXMLElement& e, const std::uint32_t*, HwTarget t) { return HwCommands::read(asField(e), t); }},
    {QStringLiteral("r"), QString(), QStringLiteral("val"),
        QStringLiteral("Reads the parent register and then returns the value of the bitfield. Prints the "
                       "result in hex."),
        CommandScope::Bitfield, 0,
        [](HwXMLElement& e, const std::uint32_t*, HwTarget t) {
            return HwCommands::readPrint(asField(e), t);
        }},
    {QStringLiteral("RF"), QString(), QStringLiteral("val"),
        QStringLiteral("Forces the reading of the parent register and then returns the value of the bitfield "
                       "(besides the read protection). Does not print the result."),
        CommandScope::Bitfield, 0,
        [](HwXMLElement& e, const std::uint32_t*, HwTarget t) {
            return HwCommands::readForced(asField(e), t);
        }},
    {QStringLiteral("rf"), QString(), QStringLiteral("val"),
        QStringLiteral("Forces the reading of the parent register and then returns the value of the bitfield "
                       "(besides the read protection). Prints the result in hex."),
        CommandScope::Bitfield, 0,
        [](HwXMLElement& e, const std::uint32_t*, HwTarget t) {
            return HwCommands::readForcedPrint(asField(e), t);
        }},
    {QStringLiteral("rl"), QStringLiteral("cacheval"), QStringLiteral("val"),
        QStringLiteral(
            "\"Read local\". Returns the value of the bitfield, interpreted from 'cacheval', taken "
            "as the parent register's value."),
        CommandScope::Bitfield, 1,
        [](HwXMLElement& e, const std::uint32_t* a, HwTarget) {
            return HwCommands::readLocal(asField(e), a[0]);
        }},
    {QStringLiteral("wl"), QStringLiteral("cacheval,value"), QStringLiteral("newcacheval"),
        QStringLiteral("\"Write local\". Sets the value of the bitfield inside the 'cacheval', taken as the "
                       "parent register's value. Returns the modified cache."),
        CommandScope::Bitfield, 2,
        [](HwXMLElement& e, const std::uint32_t* a, HwTarget) {
            return HwCommands::writeLocal(asField(e), a[0], a[1]);
        }},
    {QStringLiteral("w"), QStringLiteral("value"), QString(),
        QStringLiteral("Writes 'value' into the bitfield. (It's a read modify write in the parent register, "
                       "with the clear and set bits set to 0 if some exist)."),
        CommandScope::Bitfield, 1,
        [](HwXMLElement& e, const std::uint32_t* a, HwTarget t) {
            return HwCommands::write(asField(e), t, a[0]);
        }},
    {QStringLiteral("wf"), QStringLiteral("value"), QString(),
        QStringLiteral(
            "Writes 'value' into the bitfield (overiding the write protection). (It's a read modify "
            "write in the parent register, with the clear and set bits set to 0 if some exist)."),
        CommandScope::Bitfield, 1,
        [](HwXMLElement& e, const std::uint32_t* a, HwTarget t) {
            return HwCommands::writeForced(asField(e), t, a[0]);
        }},
    {QStringLiteral("set"), QString(), QString(), QStringLiteral("Sets the bitfield."),
        CommandScope::Bitfield, 0,
        [](HwXMLElement& e, const std::uint32_t*, HwTarget t) { return HwCommands::set(asField(e), t); }},
    {QStringLiteral("clear"), QString(), QString(), QStringLiteral("Clears the bitfield."),
        CommandScope::Bitfield, 0,
        [](HwXMLElement& e, const std::uint32_t*, HwTarget t) { return HwCommands::clear(asField(e), t); }},
};

bool offers(const CommandEntry& entry, const HwXMLElement& element)
{
    switch (entry.scope) {
    case CommandScope::Valuable:
        return element.isValuable();
    case CommandScope::Pointer:
        return element.isPointer();
    case CommandScope::Bitfield:
        return element.isBitfield();
    }
    return false;
}

int digitValue(QChar c)
{
    const char16_t u = c.unicode();
    if (u >= u'0' && u <= u'9')
        return u - u'0';
    if (u >= u'a' && u <= u'z')
        return u - u'a' + 10;
    if (u >= u'A' && u <= u'Z')
        return u - u'A' + 10;
    return 99;
}

/// Parses a number argument: decimal, "0x" hexadecimal or "0b" binary, with an optional "-" giving the
/// two's complement. False for text that is no such number; tooWide for a number beyond 32 bits.
bool parseNumber(const QString& text, std::uint32_t& value, bool& tooWide)
{
    QString digits = text.trimmed();
    bool negative = false;
    if (digits.startsWith(QLatin1Char('-'))) {
        negative = true;
        digits.remove(0, 1);
    }
    int base = 10;
    if (digits.startsWith(QLatin1String("0x"), Qt::CaseInsensitive)) {
        base = 16;
        digits.remove(0, 2);
    } else if (digits.startsWith(QLatin1String("0b"), Qt::CaseInsensitive)) {
        base = 2;
        digits.remove(0, 2);
    }
    if (digits.isEmpty() || digits.startsWith(QLatin1Char('+')) || digits.startsWith(QLatin1Char('-')))
        return false;
    for (const QChar c : digits) {
        if (digitValue(c) >= base)
            return false;
    }
    // Only an overflow of the 64-bit conversion is left: a number far too wide.
    bool ok = false;
    const qulonglong magnitude = digits.toULongLong(&ok, base);
    if (!ok) {
        tooWide = true;
        return true;
    }
    if (negative ? magnitude > 0x80000000ull : magnitude > 0xFFFFFFFFull) {
        tooWide = true;
        return true;
    }
    value = negative ? static_cast<std::uint32_t>(0u - static_cast<std::uint32_t>(magnitude))
                     : static_cast<std::uint32_t>(magnitude);
    return true;
}

} // namespace

namespace vellxml::access_p {

QList<const CommandEntry*> commandsOf(const HwXMLElement* element)
{
    QList<const CommandEntry*> entries;
    if (!element)
        return entries;
    if (element->isValuable()) {
        for (const CommandEntry& entry : kValuableCommands)
            if (offers(entry, *element))
                entries.append(&entry);
    } else if (element->isBitfield()) {
        for (const CommandEntry& entry : kBitfieldCommands)
            entries.append(&entry);
    }
    return entries;
}

} // namespace vellxml::access_p

QList<HwCommandInfo> elementCommands(const HwXMLElement* element)
{
    QList<HwCommandInfo> infos;
    for (const CommandEntry* entry : vellxml::access_p::commandsOf(element))
        infos.append({entry->name, entry->arguments, entry->result, entry->help});
    return infos;
}

namespace {

/// A refusal of the arguments, with the reason a user reads.
HwCommandResult badArguments(const QString& reason)
{
    HwCommandResult result = refused(HwCommandStatus::BadArguments);
    result.text = reason;
    return result;
}

/// "takes no argument", "takes value", "takes cacheval,value": what a command expects.
QString expectedArguments(const QString& command, const QString& names, int count)
{
    if (count == 0)
        return QStringLiteral("%1 takes no argument").arg(command);
    return QStringLiteral("%1 takes %2").arg(command, names.isEmpty() ? QStringLiteral("value") : names);
}

} // namespace

HwCommandResult runElementCommand(
    HwXMLElement* element, const QString& command, const QStringList& arguments, HwTarget target)
{
    const CommandEntry* found = nullptr;
    for (const CommandEntry* entry : vellxml::access_p::commandsOf(element)) {
        if (entry->name == command) {
            found = entry;
            break;
        }
    }
    if (!found)
        return refused(HwCommandStatus::UnknownCommand);
    const QString expected = expectedArguments(found->name, found->arguments, found->argumentCount);
    if (arguments.size() < found->argumentCount)
        return badArguments(QStringLiteral("missing argument: ") + expected);
    if (arguments.size() > found->argumentCount)
        return badArguments(QStringLiteral("too many arguments: ") + expected);
    // Argument names follow the entry ("value", "cacheval"); setl's entry names none but takes a value.
    std::uint32_t values[2] = {0, 0};
    const QStringList names = found->arguments.split(QLatin1Char(','), Qt::SkipEmptyParts);
    for (int i = 0; i < arguments.size(); ++i) {
        bool tooWide = false;
        if (parseNumber(arguments.at(i), values[i], tooWide)) {
            if (tooWide)
                return refused(HwCommandStatus::ValueTooWide);
            continue;
        }
        // A bitfield's value may be given by the name of one of its options.
        QStringList optionNames;
        bool named = false;
        if (element->isBitfield() && i < names.size() && names.at(i) == QLatin1String("value")) {
            for (const HwBitFieldOption& option : static_cast<const HwBitField*>(element)->getOptions()) {
                if (option.name == arguments.at(i)) {
                    values[i] = option.value;
                    named = true;
                    break;
                }
                optionNames.append(option.name);
            }
        }
        if (named)
            continue;
        QString reason = QStringLiteral("'%1' is not a number (decimal, 0x.., 0b..)").arg(arguments.at(i));
        if (!optionNames.isEmpty())
            reason += QStringLiteral(" nor an option of %1 (%2)")
                          .arg(element->getName(), optionNames.join(QLatin1String(", ")));
        return badArguments(reason);
    }
    return found->run(*element, values, target);
}

QString commandStatusText(const HwCommandResult& result)
{
    switch (result.status) {
    case HwCommandStatus::Ok:
        return QStringLiteral("ok");
    case HwCommandStatus::ReadProtected:
        return QStringLiteral("read-protected (force the read to read it)");
    case HwCommandStatus::WriteProtected:
        return QStringLiteral("write-protected (force the write to write it)");
    case HwCommandStatus::NoScalarWidth:
        return QStringLiteral("error %1: the element is not read or written as one value").arg(result.code);
    case HwCommandStatus::NullPointer:
        return QStringLiteral("error %1: null pointer").arg(result.code);
    case HwCommandStatus::HostError:
        return QStringLiteral("host error %1").arg(result.code);
    case HwCommandStatus::ValueTooWide:
        return QStringLiteral("value too wide");
    case HwCommandStatus::NoPointedElement:
        return QStringLiteral("the pointed type is unknown");
    case HwCommandStatus::UnknownCommand:
        return QStringLiteral("unknown command");
    case HwCommandStatus::BadArguments:
        return result.text.isEmpty() ? QStringLiteral("bad arguments") : result.text;
    }
    return QString();
}

namespace {

std::uint32_t groupValueFromCache(const HwBitGroup& group, std::uint32_t cache)
{
    const int shift = group.getShift();
    return shift >= 32 ? 0 : (cache & group.getFullValueUnshifted()) >> shift;
}

bool groupReadable(const HwBitGroup& group)
{
    for (const HwBitField* field : group.getBitFields())
        if (!field->isReadable())
            return false;
    return group.getValuable()->isReadable();
}

bool groupWritable(const HwBitGroup& group)
{
    for (const HwBitField* field : group.getBitFields())
        if (field->getWriteKind() == HwBitField::WRITE_NONE)
            return false;
    return group.getValuable()->isWritable();
}

struct GroupCommand {
    const char* name;
    const char* arguments;
    const char* help;
    HwCommandResult (*run)(HwBitGroup& group, std::uint32_t value, HwTarget target);
};

HwCommandResult withText(HwCommandResult result)
{
    if (result.ok())
        result.text = hexText(result.value);
    return result;
}

const GroupCommand kGroupCommands[] = {
    {"doc", "", "Returns the documentation of the bit group.",
        [](HwBitGroup& g, std::uint32_t, HwTarget) {
            HwCommandResult result;
            result.text = HwCommands::documentation(g);
            return result;
        }},
    {"address", "", "Returns the address of the bit group's register.",
        [](HwBitGroup& g, std::uint32_t, HwTarget) { return HwCommands::address(*g.getValuable()); }},
    {"R", "",
        "Reads the parent register and then returns the value of the bit group. Does not print the result.",
        [](HwBitGroup& g, std::uint32_t, HwTarget t) { return HwCommands::read(g, t); }},
    {"r", "",
        "Reads the parent register and then returns the value of the bit group. Prints the result in hex.",
        [](HwBitGroup& g, std::uint32_t, HwTarget t) { return withText(HwCommands::read(g, t)); }},
    {"RF", "",
        "Forces the reading of the parent register and then returns the value of the bit group (besides the "
        "read protection). Does not print the result.",
        [](HwBitGroup& g, std::uint32_t, HwTarget t) { return HwCommands::read(g, t, true); }},
    {"rf", "",
        "Forces the reading of the parent register and then returns the value of the bit group (besides the "
        "read protection). Prints the result in hex.",
        [](HwBitGroup& g, std::uint32_t, HwTarget t) { return withText(HwCommands::read(g, t, true)); }},
    {"w", "value",
        "Writes 'value' into the bit group, its lowest bit at the group's lowest field bit. (It's a read "
        "modify write in the parent register, with the clear and set bits set to 0 if some exist).",
        [](HwBitGroup& g, std::uint32_t v, HwTarget t) { return HwCommands::write(g, t, v); }},
    {"wf", "value", "Writes 'value' into the bit group (overiding the write protection).",
        [](HwBitGroup& g, std::uint32_t v, HwTarget t) { return HwCommands::write(g, t, v, true); }},
    {"set", "", "Sets every bit of the bit group.",
        [](HwBitGroup& g, std::uint32_t, HwTarget t) {
            return HwCommands::write(g, t, g.getFullValueShifted());
        }},
    {"clear", "", "Clears every bit of the bit group.",
        [](HwBitGroup& g, std::uint32_t, HwTarget t) { return HwCommands::write(g, t, 0); }},
};

} // namespace

QList<HwCommandInfo> bitGroupCommands()
{
    QList<HwCommandInfo> infos;
    for (const GroupCommand& command : kGroupCommands)
        infos.append({QString::fromLatin1(command.name), QString::fromLatin1(command.arguments), QString(),
            QString::fromLatin1(command.help)});
    return infos;
}

HwCommandResult runBitGroupCommand(
    HwBitGroup& group, const QString& command, const QStringList& arguments, HwTarget target)
{
    for (const GroupCommand& entry : kGroupCommands) {
        if (command != QLatin1String(entry.name))
            continue;
        const int count = *entry.arguments ? 1 : 0;
        const QString expected = expectedArguments(command, QString::fromLatin1(entry.arguments), count);
        if (arguments.size() < count)
            return badArguments(QStringLiteral("missing argument: ") + expected);
        if (arguments.size() > count)
            return badArguments(QStringLiteral("too many arguments: ") + expected);
        std::uint32_t value = 0;
        bool tooWide = false;
        if (count == 1) {
            if (!parseNumber(arguments.first(), value, tooWide))
                return badArguments(
                    QStringLiteral("'%1' is not a number (decimal, 0x.., 0b..)").arg(arguments.first()));
            if (tooWide)
                return refused(HwCommandStatus::ValueTooWide);
        }
        return entry.run(group, value, target);
    }
    return refused(HwCommandStatus::UnknownCommand);
}

namespace HwCommands {

HwCommandResult read(HwValuable& valuable, HwTarget target)
{
    return readValuable(valuable, target, false, false);
}

HwCommandResult readPrint(HwValuable& valuable, HwTarget target)
{
    return readValuable(valuable, target, false, true);
}

HwCommandResult readForced(HwValuable& valuable, HwTarget target)
{
    return readValuable(valuable, target, true, false);
}

HwCommandResult readForcedPrint(HwValuable& valuable, HwTarget target)
{
    return readValuable(valuable, target, true, true);
}

HwCommandResult getLocal(HwValuable& valuable)
{
    return withValue(valuable.getValue());
}

HwCommandResult setLocal(HwValuable& valuable, std::uint32_t value)
{
    if (!fitsValuable(valuable, value))
        return refused(HwCommandStatus::ValueTooWide);
    valuable.setValue(value);
    return withValue(valuable.getValue());
}

HwCommandResult write(HwValuable& valuable, HwTarget target, std::uint32_t value)
{
    return writeValuable(valuable, target, value, false);
}

HwCommandResult writeForced(HwValuable& valuable, HwTarget target, std::uint32_t value)
{
    return writeValuable(valuable, target, value, true);
}

HwCommandResult prepareLocal(HwValuable& valuable, std::uint32_t cacheValue)
{
    if (!fitsValuable(valuable, cacheValue))
        return refused(HwCommandStatus::ValueTooWide);
    return withValue(valuable.getValueForWritingBitfieldFromCache(cacheValue));
}

HwCommandResult dereference(HwPointer& pointer, HwTarget target)
{
    HwCommandResult result = readValuable(pointer, target, false, false);
    if (!result.ok())
        return result;
    if (result.value == 0) {
        result.status = HwCommandStatus::NullPointer;
        result.code = ACCESS_NULL_POINTER;
        return result;
    }
    result.element = pointer.allocatePointedElement();
    if (!result.element)
        result.status = HwCommandStatus::NoPointedElement;
    return result;
}

HwCommandResult read(HwBitField& field, HwTarget target)
{
    return readField(field, target, false, false);
}

HwCommandResult readPrint(HwBitField& field, HwTarget target)
{
    return readField(field, target, false, true);
}

HwCommandResult readForced(HwBitField& field, HwTarget target)
{
    return readField(field, target, true, false);
}

HwCommandResult readForcedPrint(HwBitField& field, HwTarget target)
{
    return readField(field, target, true, true);
}

HwCommandResult readLocal(HwBitField& field, std::uint32_t cacheValue)
{
    const HwValuable* valuable = field.getValuable();
    if (valuable && !fitsValuable(*valuable, cacheValue))
        return refused(HwCommandStatus::ValueTooWide);
    return withValue(field.getValueFromCache(cacheValue));
}

HwCommandResult writeLocal(HwBitField& field, std::uint32_t cacheValue, std::uint32_t value)
{
    const HwValuable* valuable = field.getValuable();
    if ((valuable && !fitsValuable(*valuable, cacheValue)) || (value & ~field.getFullValueShifted()) != 0)
        return refused(HwCommandStatus::ValueTooWide);
    std::uint32_t modified = field.insertValueInCache(cacheValue, value);
    if (valuable)
        modified &= widthMask(*valuable);
    return withValue(modified);
}

HwCommandResult write(HwBitField& field, HwTarget target, std::uint32_t value)
{
    return writeField(field, target, value, false);
}

HwCommandResult writeForced(HwBitField& field, HwTarget target, std::uint32_t value)
{
    return writeField(field, target, value, true);
}

HwCommandResult set(HwBitField& field, HwTarget target)
{
    return writeField(field, target, field.getFullValueShifted(), false);
}

HwCommandResult clear(HwBitField& field, HwTarget target)
{
    return writeField(field, target, 0, false);
}

HwCommandResult address(const HwXMLElement& element)
{
    HwCommandResult result = withValue(element.getBaseAddress());
    result.text = element.getAddressString();
    return result;
}

HwCommandResult doc(const HwXMLElement& element)
{
    HwCommandResult result;
    result.text = documentation(element);
    return result;
}

namespace {

QString positionText(const HwBitField& field)
{
    if (field.getUpPos() == field.getDownPos())
        return QStringLiteral("[%1]").arg(field.getUpPos());
    return QStringLiteral("[%1:%2]").arg(field.getUpPos()).arg(field.getDownPos());
}

} // namespace

HwCommandResult read(HwBitGroup& group, HwTarget target, bool force)
{
    HwValuable& valuable = *group.getValuable();
    if (!force && !groupReadable(group))
        return refused(HwCommandStatus::ReadProtected);
    if (const int code = readIntoCache(valuable, target); code != ACCESS_OK)
        return accessFailure(code);
    return withValue(groupValueFromCache(group, valuable.getValue()));
}

HwCommandResult write(HwBitGroup& group, HwTarget target, std::uint32_t value, bool force)
{
    HwValuable& valuable = *group.getValuable();
    if (!force && !groupWritable(group))
        return refused(HwCommandStatus::WriteProtected);
    const int shift = group.getShift();
    const std::uint32_t mask = group.getFullValueUnshifted();
    const std::uint64_t placed =
        shift >= 32 ? (value ? ~0ull : 0) : static_cast<std::uint64_t>(value) << shift;
    if ((placed & ~static_cast<std::uint64_t>(mask)) != 0)
        return refused(HwCommandStatus::ValueTooWide);
    if (valuable.isReadable()) {
        if (const int code = readIntoCache(valuable, target); code != ACCESS_OK)
            return accessFailure(code);
    }
    const std::uint32_t out =
        (valuable.getValueForWritingBitfield() & ~mask) | static_cast<std::uint32_t>(placed);
    if (const int code = valuable.write(target.handle, out); code != ACCESS_OK)
        return accessFailure(code);
    return withValue(out & widthMask(valuable));
}

QString documentation(const HwBitGroup& group)
{
    const HwValuable& valuable = *group.getValuable();
    const int digits = static_cast<int>(std::min(valuable.getBitSize(), 32u) + 3) / 4;
    QStringList fields;
    for (const HwBitField* field : group.getBitFields())
        fields << QStringLiteral("  %1 %2 %3")
                      .arg(field->getName(), positionText(*field), field->getAccessString());
    QString text = valuable.getPath() + QLatin1Char('.') + group.getName() + QLatin1Char('\n');
    text += QStringLiteral("Type: Bit group\n");
    text += QStringLiteral("Address: %1\n").arg(valuable.getAddressString());
    text += QStringLiteral("Access: %1%2\n")
                .arg(QLatin1String(groupReadable(group) ? "r" : "-"),
                    QLatin1String(groupWritable(group) ? "w" : "-"));
    text += QStringLiteral("Mask: 0x%1\n")
                .arg(QStringLiteral("%1")
                         .arg(group.getFullValueUnshifted(), digits, 16, QLatin1Char('0'))
                         .toUpper());
    text += QStringLiteral("Bitfields:\n") + fields.join(QLatin1Char('\n')) + QLatin1Char('\n');
    return text;
}

QString documentation(const HwXMLElement& element)
{
    QStringList lines;
    lines << element.getPath();
    if (element.isBitfield()) {
        const auto& field = static_cast<const HwBitField&>(element);
        lines << QStringLiteral("Type: %1 %2").arg(field.getTypeString(), positionText(field));
        lines << QStringLiteral("Address: %1").arg(field.getAddressString());
        lines << QStringLiteral("Access: %1").arg(field.getAccessString());
        lines << QStringLiteral("Reset: %1").arg(field.getResetString(DISPLAY_DEFAULT));
        if (!field.getOptions().isEmpty()) {
            lines << QStringLiteral("Options:");
            for (const HwBitFieldOption& option : field.getOptions()) {
                QString line =
                    QStringLiteral("  %1 = %2")
                        .arg(option.name,
                            field.convertValueToValueString(option.value, DISPLAY_DEFAULT, false, false));
                if (!option.description.isEmpty())
                    line += QLatin1String(": ") + option.description;
                lines << line;
            }
        }
    } else {
        lines << QStringLiteral("Type: %1").arg(element.getTypeString());
        lines << QStringLiteral("Address: %1").arg(element.getAddressString());
        if (element.isValuable()) {
            const auto& valuable = static_cast<const HwValuable&>(element);
            lines << QStringLiteral("Protection: %1").arg(valuable.getProtectString());
            lines << QStringLiteral("Reset: %1").arg(valuable.getResetString());
            if (!valuable.getBitFields().empty()) {
                lines << QStringLiteral("Bitfields:");
                for (const auto& field : valuable.getBitFields())
                    lines << QStringLiteral("  %1 %2 %3 reset %4")
                                 .arg(field->getName(), positionText(*field), field->getAccessString(),
                                     field->getResetString(DISPLAY_DEFAULT));
            }
        } else {
            lines << QStringLiteral("Size: %1").arg(element.sizeOf());
        }
    }
    // The comment as plain text: its first line after the label, the others indented under it.
    const QStringList comment = commentToPlainLines(element.getComment());
    for (int i = 0; i < comment.size(); ++i)
        lines << (i == 0 ? QStringLiteral("Comment: ") : QStringLiteral("  ")) + comment.at(i);
    return lines.join(QLatin1Char('\n')) + QLatin1Char('\n');
}

} // namespace HwCommands
