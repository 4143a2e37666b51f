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
    const QString identifier = kind + QLatin1Char('_') + vhdlNamePart(name);
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

/// "constant <name>: integer := <value>;", or for a value beyond VHDL's integer (addresses from 0x80000000
/// up) the 32-bit vector "std_logic_vector(31 downto 0) := x\"80000000\"".
QString integerConstant(HwVHDLNames& names, const QString& name, std::uint32_t value)
{
    const QString head = padTo(QLatin1String("constant ") + name + QLatin1Char(':'), 48);
    if (value <= 0x7FFFFFFFu)
        return declaration(names, name, head + QStringLiteral("integer := %1;\n").arg(value));
    return declaration(names, name,
        head + QStringLiteral("std_logic_vector(31 downto 0) := x\"%1\";\n").arg(hex8(value)));
}

/// A variable's expression as VHDL reads it, or nothing when VHDL cannot: identifiers become the names
/// the package declared them under, and only integer constants already declared here, numbers, + - * /,
/// ** and brackets are kept.
QString vhdlExpression(const QString& expression, const QHash<QString, QString>& integers)
{
    static const QRegularExpression allowed(QStringLiteral("^[A-Za-z0-9_#\\s+\\-*/()]*$"));
    static const QRegularExpression word(QStringLiteral("[A-Za-z_][A-Za-z0-9_]*"));
    const QString cleaned = vhdl_clean_expr(expression.toUpper());
    if (!allowed.match(cleaned).hasMatch() || cleaned.trimmed().isEmpty())
        return QString();
    QString result;
    int from = 0;
    for (auto it = word.globalMatch(cleaned); it.hasNext();) {
        const QRegularExpressionMatch match = it.next();
        const int start = match.capturedStart();
        // Digits of a based literal (16#1F#) are not names.
        if (start > 0 && cleaned.at(start - 1) == QLatin1Char('#'))
            continue;
        const auto found = integers.constFind(match.captured().toUpper());
        if (found == integers.constEnd())
            return QString();
        result += cleaned.mid(from, start - from) + found.value();
        from = match.capturedEnd();
    }
    return result + cleaned.mid(from);
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
    const QString range = QLatin1String("range_") + vhdlNamePart(valuable->getName());
    return text
        + declaration(names, range,
            padTo(QLatin1String("subtype ") + range + QLatin1String(" is"), 48)
                + QStringLiteral("integer range %1 downto 0;\n").arg(valuable->getPhysicalTop()));
}

QString moduleText(HwStruct* module, HwVHDLNames& names)
{
    const QString nba = vhdlIdentifier(module->getName().toUpper() + QLatin1String("_REG_NBA"));
    QString text = QStringLiteral("-- Register definition\n"
                                  "-- Register Map\n"
                                  "-- Address bit for register decoding\n");
    // natural rather than 1 to 12: a module of one byte decodes no address bit, one above 4 KiB more than 12.
    text += declaration(names, nba,
        QStringLiteral("constant %1: natural := %2;\n\n")
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

/// The package name of an archive: a legal identifier, with "_2", "_3" ... behind a name that an earlier
/// archive of the chip already has (archives of one file name in different folders).
QString packageNameOf(const HwXMLArchive* archive)
{
    const QString own = vhdlIdentifier(archive->getVHDLPkgName());
    const HwRootArchive* root = archive->getRootArchive();
    if (!root)
        return own;
    QSet<QString> taken;
    for (const auto& candidate : root->getArchives()) {
        QString name = vhdlIdentifier(candidate->getVHDLPkgName());
        const QString stem = name;
        for (int k = 2; taken.contains(name.toLower()); ++k)
            name = stem + QStringLiteral("_%1").arg(k);
        taken.insert(name.toLower());
        if (candidate.get() == archive)
            return name;
    }
    return own;
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
    bool numeric = true; // every position text so far a number: the physical texts are numbers too
    for (const auto& field : m_bitFields) {
        const int width = std::max(0, static_cast<int>(field->getBitSize()));
        const int down = up + 1;
        up = down + width - 1;
        if (numeric && field->positionTextsAreNumbers()) {
            field->setPhysicalPositions(QString::number(up), up, QString::number(down), down);
            upExpr = field->getPhysUpExpr();
            first = false;
            continue;
        }
        numeric = false;
        const QString downExpr = first ? QStringLiteral("0") : upExpr + QLatin1String("+1");
        upExpr = downExpr + QLatin1Char('+') + term(field->getUpExpr()) + QLatin1Char('-')
            + term(field->getDownExpr());
        field->setPhysicalPositions(isNumeric(upExpr) ? QString::number(up) : upExpr, up,
            isNumeric(downExpr) ? QString::number(down) : downExpr, down);
        upExpr = field->getPhysUpExpr();
        first = false;
    }
    if (first) {
        const int top = static_cast<int>(sizeOf() * 8) - 1;
        setPhysicalTop(top, QString::number(top));
    } else {
        setPhysicalTop(up, upExpr);
    }
}

// Bitfields and bit groups --------------------------------------------------------------------------------

QString HwBitField::vhdl_logical_serialize(int, HwVHDLNames& names)
{
    // Texts that are the numbers need no evaluation.
    const Position up
        = m_upIsNumber ? Position {true, m_upPos} : evaluatePosition(getValuable(), getUpExpr(), m_upPos);
    const Position down
        = m_downIsNumber ? Position {true, m_downPos} : evaluatePosition(getValuable(), getDownExpr(), m_downPos);
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
    return positionDeclaration(names, QStringLiteral("p"), getName(), getPhysUpPos(), getPhysDownPos());
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
    const QString at = QLatin1String("at_") + vhdlNamePart(getName().toUpper());
    QString text = integerConstant(names, at, getBaseAddress());
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
    const QString name = vhdlNamePart(getName());
    for (std::size_t i = 0; i < m_items.size(); ++i)
        text += integerConstant(names, QStringLiteral("at_%1_%2").arg(name).arg(i), m_items[i]->getBaseAddress());
    const QString size = QLatin1String("tabsize_") + name;
    text += declaration(names, size,
        padTo(QLatin1String("constant ") + size + QLatin1Char(':'), 48)
            + QStringLiteral("integer := %1;\n").arg(m_count));
    const QString table = QLatin1String("tab_") + name;
    text += declaration(names, table,
        QStringLiteral("type %1 is array (NATURAL range <>) of std_logic_vector(range_%2);\n")
            .arg(table, vhdlNamePart(itemRegister->getName())));
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
    const QString packageName = packageNameOf(this);
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
        text += QLatin1String("USE work.") + packageNameOf(included) + QLatin1String(".all;\n");
    text += QLatin1String("package ") + packageName + QLatin1String(" is\n\n-- Archive Variables\n");

    HwVHDLNames names;
    QHash<QString, QString> integers;
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
        const QString name = vhdlIdentifier(variable.getName().toUpper());
        if (variable.isRange()) {
            QString left = vhdlExpression(variable.getExpression(), integers);
            QString right = vhdlExpression(variable.getSecondExpression(), integers);
            if (left.isEmpty())
                left = QString::number(variable.getValue());
            if (right.isEmpty())
                right = QString::number(variable.getSecondValue());
            text += declaration(names, name,
                padTo(QLatin1String("subtype ") + name + QLatin1String(" is"), 48)
                    + QLatin1String("integer range ") + left
                    + (variable.getDirection() == HwIntVar::Up ? QLatin1String(" to ") : QLatin1String(" downto "))
                    + right + QLatin1String(";\n"));
            continue;
        }
        // A value beyond VHDL's integer is an address from 0x80000000 up that the 32-bit evaluation wrapped.
        const bool wrapped = variable.getValue() < 0 && !variable.getExpression().contains(QLatin1Char('-'));
        const QString expression = wrapped ? QString() : vhdlExpression(variable.getExpression(), integers);
        if (wrapped) {
            text += integerConstant(names, name, static_cast<std::uint32_t>(variable.getValue()));
            continue;
        }
        text += declaration(names, name,
            padTo(QLatin1String("constant ") + name + QLatin1Char(':'), 48) + QLatin1String("integer := ")
                + (expression.isEmpty() ? QString::number(variable.getValue()) : expression)
                + QLatin1String(";\n"));
        integers.insert(variable.getName().toUpper(), name);
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
