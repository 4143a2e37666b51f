// The VHDL package generator: for each module of an archive, the register addresses (at_), the logical
// positions of the fields in their register (l_), their positions once packed without gaps (p_), the packed
// width of each register (range_), the types of register arrays (tab_, tabsize_) and the address bits the
// module decodes.

#include "generator_p.h"

#include <vellxml/expr/variables.h>
#include <vellxml/generators/generator_text.h>
#include <vellxml/loader/archive.h>
#include <vellxml/loader/memory_map.h>
#include <vellxml/model/bitfield.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/valuable.h>

#include <QRegularExpression>
#include <QSet>

#include <algorithm>
#include <cstdio>

using namespace vellxml::generators_p;

namespace {

struct Position {
    bool ok = false;
    int value = 0;
};

/// A position expression's value, with the variables of the element's archive. A plain number, by far the
/// most frequent case, skips the evaluator; an empty expression falls back to the stored value.
Position evaluatePosition(const HwXMLElement* element, const QString& expression, int stored)
{
    if (expression.trimmed().isEmpty())
        return {true, stored};
    bool number = false;
    const int value = expression.trimmed().toInt(&number);
    if (number)
        return {true, value};
    const HwXMLArchive* archive = element ? element->getTopArchive() : nullptr;
    if (!archive)
        return {false, 0};
    QString error;
    bool failed = false;
    const int evaluated = archive->getVariableManager().evalExpression(expression, error, failed);
    return {!failed, evaluated};
}

void reportEvaluationError()
{
    std::printf("ERROR while evaluating expressions when generating vhdl\n");
}

/// A declaration; a name the package already declared (VHDL ignores case) is written as a comment.
QString declaration(HwVHDLNames& names, const QString& name, const QString& line)
{
    return names.declare(name) ? line : QLatin1String("--") + line;
}

/// "constant <kind>_<name>: integer := <pos>;" for one bit, else "subtype  <kind>_<name> is integer range
/// <up> downto <down>;".
QString positionDeclaration(HwVHDLNames& names, const QString& kind, const QString& name, int up, int down)
{
    const QString identifier = kind + QLatin1Char('_') + name;
    if (up == down) {
        return declaration(names, identifier,
            padTo(QLatin1String("constant ") + identifier + QLatin1Char(':'), 48)
                + QStringLiteral("integer := %1;\n").arg(up));
    }
    return declaration(names, identifier,
        padTo(QLatin1String("subtype  ") + identifier + QLatin1String(" is"), 48)
            + QStringLiteral("integer range %1 downto %2;\n").arg(up).arg(down));
}

bool isNumeric(const QString& expression)
{
    static const QRegularExpression numeric(QStringLiteral("^[0-9+\\-]+$"));
    return numeric.match(expression).hasMatch();
}

/// A term of a physical position expression: bracketed unless it is a plain number.
QString term(const QString& expression)
{
    return isNumeric(expression) ? expression : QLatin1Char('(') + expression + QLatin1Char(')');
}

bool isRegisterType(const HwXMLElement* element)
{
    const XMLElementType type = element->getType();
    return type == TYPE_REG32 || type == TYPE_REG16 || type == TYPE_REG8 || type == TYPE_IREG8;
}

/// The logical and physical maps and the range subtype of a register (its physical map built first).
QString registerMaps(HwValuable* valuable, int level, HwVHDLNames& names)
{
    valuable->buildPhysicalMap();
    QString text = QStringLiteral("-- logical map\n");
    for (const auto& field : valuable->getBitFields())
        text += field->vhdl_logical_serialize(level, names);
    for (const auto& group : valuable->getBitGroups())
        text += group->vhdl_logical_serialize(level, names);
    text += QLatin1String("-- physical map\n");
    for (const auto& field : valuable->getBitFields())
        text += field->vhdl_physical_serialize(level, names);
    for (const auto& group : valuable->getBitGroups())
        text += group->vhdl_physical_serialize(level, names);
    const QString range = QLatin1String("range_") + valuable->getName();
    return text
        + declaration(names, range,
            padTo(QLatin1String("subtype ") + range + QLatin1String(" is"), 48)
                + QStringLiteral("integer range %1 downto 0;\n").arg(valuable->getPhysicalTop()));
}

QString moduleText(HwStruct* module, HwVHDLNames& names)
{
    const QString nba = module->getName().toUpper() + QLatin1String("_REG_NBA");
    QString text = QStringLiteral("-- Register definition\n"
                                  "-- Register Map\n"
                                  "-- Address bit for register decoding\n");
    text += declaration(names, nba,
        QStringLiteral("constant %1: integer range 1 to 12 := %2;\n\n")
            .arg(nba)
            .arg(vhdl_log2(module->sizeOf() * 8)));
    text += QStringLiteral("-- Registers are defined by\n"
                           "--  * an address :          at_REG_NAME\n"
                           "--  * a logical map :       constant or ranges for each field l_Field_Name\n"
                           "--  * a physical map :      constant or ranges for each field p_Field_Name\n"
                           "--  * a physical range :    range_Reg_Name\n"
                           "\n");
    return text + module->vhdl_serialize(0, names);
}

void collectIncluded(
    const HwXMLArchive* archive, QSet<const HwXMLArchive*>& seen, std::vector<const HwXMLArchive*>& out)
{
    for (const HwXMLArchive* included : archive->getIncludedArchives()) {
        if (seen.contains(included))
            continue;
        seen.insert(included);
        out.push_back(included);
        collectIncluded(included, seen, out);
    }
}

} // namespace

// Physical map --------------------------------------------------------------------------------------------

void HwValuable::buildPhysicalMap()
{
    QString upExpr;
    int up = -1;
    bool first = true;
    for (const auto& field : m_bitFields) {
        const int width = std::max(0, static_cast<int>(field->getBitSize()));
        const QString downExpr = first ? QStringLiteral("0") : upExpr + QLatin1String("+1");
        const int down = up + 1;
        up = down + width - 1;
        upExpr = downExpr + QLatin1Char('+') + term(field->getUpExpr()) + QLatin1Char('-')
            + term(field->getDownExpr());
        field->setPhysicalPositions(isNumeric(upExpr) ? QString::number(up) : upExpr, up,
            isNumeric(downExpr) ? QString::number(down) : downExpr, down);
        upExpr = field->getPhysUpExpr();
        first = false;
    }
    if (first) {
        m_physicalTop = static_cast<int>(sizeOf() * 8) - 1;
        m_physicalTopExpr = QString::number(m_physicalTop);
    } else {
        m_physicalTop = up;
        m_physicalTopExpr = upExpr;
    }
}

// Bitfields and bit groups --------------------------------------------------------------------------------

QString HwBitField::vhdl_logical_serialize(int, HwVHDLNames& names)
{
    const Position up = evaluatePosition(getValuable(), m_upExpr, m_upPos);
    const Position down = evaluatePosition(getValuable(), m_downExpr, m_downPos);
    if (!up.ok || !down.ok) {
        reportEvaluationError();
        return QString();
    }
    if (static_cast<long long>(up.value) - down.value + 1 != static_cast<long long>(getBitSize())) {
        std::printf("ERROR : contact developper\n");
        return QString();
    }
    return positionDeclaration(names, QStringLiteral("l"), getName(), up.value, down.value);
}

QString HwBitField::vhdl_physical_serialize(int, HwVHDLNames& names)
{
    if (getBitSize() == 0)
        return QString();
    return positionDeclaration(names, QStringLiteral("p"), getName(), m_physUpPos, m_physDownPos);
}

QString HwBitGroup::vhdl_logical_serialize(int, HwVHDLNames& names) const
{
    if (m_bitFields.isEmpty())
        return QString();
    const HwBitField* highest = m_bitFields.front();
    const HwBitField* lowest = m_bitFields.front();
    for (const HwBitField* field : m_bitFields) {
        if (field->getUpPos() > highest->getUpPos())
            highest = field;
        if (field->getDownPos() < lowest->getDownPos())
            lowest = field;
    }
    const Position up = evaluatePosition(m_valuable, getUpPosExpression(), highest->getUpPos());
    const Position down = evaluatePosition(m_valuable, getDownPosExpression(), lowest->getDownPos());
    if (!up.ok || !down.ok) {
        reportEvaluationError();
        return QString();
    }
    QString text;
    if (!isContiguous())
        text += QLatin1String("-- Not Contiguous BitGroup: ") + m_name + QLatin1Char('\n');
    return text + positionDeclaration(names, QStringLiteral("l"), m_name, up.value, down.value);
}

QString HwBitGroup::vhdl_physical_serialize(int, HwVHDLNames& names) const
{
    if (m_bitFields.isEmpty())
        return QString();
    int up = m_bitFields.front()->getPhysUpPos();
    int down = m_bitFields.front()->getPhysDownPos();
    for (const HwBitField* field : m_bitFields) {
        up = std::max(up, field->getPhysUpPos());
        down = std::min(down, field->getPhysDownPos());
    }
    QString text;
    if (!isPhysicalContiguous())
        text += QLatin1String("-- Not Contiguous BitGroup: ") + m_name + QLatin1Char('\n');
    return text + positionDeclaration(names, QStringLiteral("p"), m_name, up, down);
}

// Registers, structures, arrays ---------------------------------------------------------------------------

QString HwValuable::vhdl_serialize(int level, HwVHDLNames& names)
{
    const QString at = QLatin1String("at_") + getName().toUpper();
    QString text = declaration(names, at,
        padTo(QLatin1String("constant ") + at + QLatin1Char(':'), 48)
            + QStringLiteral("integer := %1;\n").arg(getBaseAddress()));
    return text + registerMaps(this, level, names) + QLatin1Char('\n');
}

QString HwStruct::vhdl_serialize(int level, HwVHDLNames& names)
{
    QString text;
    for (const auto& member : m_members)
        text += member->vhdl_serialize(level, names);
    return text;
}

QString HwStruct::vhdl_content()
{
    HwVHDLNames names;
    return moduleText(this, names);
}

// The array type names its item's range subtype: the item register's maps and range are written first.
QString HwArray::vhdl_serialize(int level, HwVHDLNames& names)
{
    HwXMLElement* item = m_elementType.get();
    if (!item)
        return QString();
    if (!isRegisterType(item))
        return item->vhdl_serialize(level, names);
    auto* itemRegister = static_cast<HwValuable*>(item);
    QString text = registerMaps(itemRegister, level, names);
    const QString name = getName();
    for (std::size_t i = 0; i < m_items.size(); ++i) {
        const QString at = QStringLiteral("at_%1_%2").arg(name).arg(i);
        text += declaration(names, at,
            padTo(QLatin1String("constant ") + at + QLatin1Char(':'), 48)
                + QStringLiteral("integer := %1;\n").arg(m_items[i]->getBaseAddress()));
    }
    const QString size = QLatin1String("tabsize_") + name;
    text += declaration(names, size,
        padTo(QLatin1String("constant ") + size + QLatin1Char(':'), 48)
            + QStringLiteral("integer := %1;\n").arg(m_count));
    const QString table = QLatin1String("tab_") + name;
    text += declaration(names, table,
        QStringLiteral("type %1 is array (NATURAL range <>) of std_logic_vector(range_%2);\n")
            .arg(table, itemRegister->getName()));
    return text + QLatin1Char('\n');
}

// Archive and driver --------------------------------------------------------------------------------------

std::vector<const HwXMLArchive*> HwXMLArchive::getIncludedArchivesClosure() const
{
    std::vector<const HwXMLArchive*> out;
    QSet<const HwXMLArchive*> seen {this};
    collectIncluded(this, seen, out);
    return out;
}

QString HwXMLArchive::vhdl_content()
{
    const QString hashRule =
        QStringLiteral("-- ###############################################################\n");
    const QString dashRule =
        QStringLiteral("-- ---------------------------------------------------------------\n");
    const QString packageName = getVHDLPkgName();
    QString text =
        hashRule + QLatin1String("--          ") + getVHDLFileRelativeName() + QLatin1Char('\n') + hashRule;
    text += QLatin1String("-- Generated automatically by Ombrel\n"
                          "--\n"
                          "-- Module Description :\n"
                          "--\n"
                          "--      \n"
                          "--\n");
    text += dashRule;
    text += QLatin1String("--  $") + QLatin1String("HeadURL: $\n") + QLatin1String("--  $")
        + QLatin1String("Author: $\n") + QLatin1String("--  $") + QLatin1String("Date: $\n")
        + QLatin1String("--  $") + QLatin1String("Revision: $\n");
    text += dashRule + hashRule + QLatin1String("--          VHDL CODE\n") + hashRule;
    text += QLatin1String("-------------------------------------------------\n"
                          "-- Libraries\n"
                          "-------------------------------------------------\n"
                          "LIBRARY IEEE;\n"
                          "USE ieee.std_logic_1164.all;\n"
                          "\n");
    // VHDL use clauses are not transitive, while a variable may name one of any archive included on the way.
    for (const HwXMLArchive* included : getIncludedArchivesClosure())
        text += QLatin1String("USE work.") + included->getVHDLPkgName() + QLatin1String(".all;\n");
    text += QLatin1String("package ") + packageName + QLatin1String(" is\n\n-- Archive Variables\n");

    HwVHDLNames names;
    for (const HwIntVar& variable : *m_variables) {
        if (variable.getName().startsWith(QLatin1String("VELLXMLSPACER"))) {
            text += QLatin1Char('\n');
            if (!variable.getOrigin().isEmpty())
                text += QLatin1String("--")
                    + QString(variable.getOrigin()).replace(QLatin1String("<br>"), QLatin1String("\n--"))
                    + QLatin1Char('\n');
            continue;
        }
        // A variable kept out of the generated files is left out here too.
        if (!variable.isExported())
            continue;
        if (!variable.getOrigin().isEmpty())
            text += QLatin1String("--")
                + QString(variable.getOrigin()).replace(QLatin1String("<br>"), QLatin1String("\n--"))
                + QLatin1Char('\n');
        if (variable.isRange()) {
            text += declaration(names, variable.getName(),
                padTo(QLatin1String("subtype ") + variable.getName() + QLatin1String(" is"), 48)
                    + QLatin1String("integer range ") + vhdl_clean_expr(variable.getExpression())
                    + (variable.getDirection() == HwIntVar::Up ? QLatin1String(" to ")
                                                               : QLatin1String(" downto "))
                    + vhdl_clean_expr(variable.getSecondExpression()) + QLatin1String(";\n"));
        } else {
            const QString name = variable.getName().toUpper();
            text += declaration(names, name,
                padTo(QLatin1String("constant ") + name + QLatin1Char(':'), 48) + QLatin1String("integer := ")
                    + vhdl_clean_expr(variable.getExpression().toUpper()) + QLatin1String(";\n"));
        }
    }
    text += QLatin1Char('\n');
    for (const auto& element : m_elements) {
        if (element->isStruct() && static_cast<HwStruct*>(element.get())->isRootStruct())
            text += moduleText(static_cast<HwStruct*>(element.get()), names);
    }
    return text + QLatin1String("\nend ") + packageName + QLatin1String(";\n");
}

bool HwMemoryMap::generateVHDL(const QString& dir, vellxml::DiagnosticSink* sink)
{
    HwRootArchive* root = m_chipRoot.get();
    if (!root)
        return true;
    bool complete = true;
    for (const auto& archive : root->getArchives()) {
        if (!writeOutputFile(dir, archive->getVHDLFileRelativeName(), archive->vhdl_content(), sink))
            complete = false;
    }
    std::fflush(stdout);
    return complete;
}
