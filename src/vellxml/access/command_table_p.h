#ifndef VELLXML_ACCESS_COMMAND_TABLE_P_H
#define VELLXML_ACCESS_COMMAND_TABLE_P_H

#include <vellxml/access/commands.h>

#include <QList>
#include <QString>

#include <cstdint>

namespace vellxml::access_p {

/// Which elements offer a command.
enum class CommandScope { Valuable, Pointer, Bitfield };

/// One row of the command table: what the completion entry shows, and how the dispatcher runs it.
struct CommandEntry {
    QString name;
    QString arguments;
    QString result;
    QString help;
    CommandScope scope;
    /// The values the command takes (setl takes one though its entry names none).
    int argumentCount;
    HwCommandResult (*run)(HwXMLElement& element, const std::uint32_t* arguments, HwTarget target);
};

/// The rows offered on the element, in table order; none for a null element or a kind without commands.
QList<const CommandEntry*> commandsOf(const HwXMLElement* element);

} // namespace vellxml::access_p

#endif
