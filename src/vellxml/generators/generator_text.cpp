#include "generator_p.h"

#include <vellxml/expr/names.h>
#include <vellxml/expr/variables.h>
#include <vellxml/generators/generator_text.h>
#include <vellxml/loader/archive.h>
#include <vellxml/loader/text_helpers.h>
#include <vellxml/model/bitfield.h>
#include <vellxml/model/composites.h>

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSaveFile>
#include <QSet>

#include <cerrno>
#include <cstring>

#include <cstdio>

namespace vellxml::generators_p {

QString hex8(std::uint32_t value)
{
    return QStringLiteral("%1").arg(value, 8, 16, QLatin1Char('0')).toUpper();
}

QString indent(int level)
{
    return QString(level > 0 ? level * 4 : 0, QLatin1Char(' '));
}

QString padTo(const QString& line, int column)
{
    return line + space_complement_to(line, column);
}

QSet<QString>* s_asmNames = nullptr;

QString asmRegisterLine(
    const QString& prefix, const QString& name, const QString& base, std::uint32_t address)
{
    // Names equal once upper-cased (data and Data) get "_2", "_3" ... rather than redefining a macro.
    const QString stem = QLatin1String("REG_") + prefix + QLatin1Char('_') + NameUpper(name);
    QString macro = stem;
    if (s_asmNames) {
        for (int k = 2; s_asmNames->contains(macro); ++k)
            macro = stem + QStringLiteral("_%1").arg(k);
        s_asmNames->insert(macro);
    }
    const QString head = QLatin1String("#define ") + macro;
    const QString offset = base == QLatin1String(" ") ? QStringLiteral("   ") : base + QLatin1String(" + ");
    return padTo(head, 35) + offset + QLatin1String("0x") + hex8(address) + QLatin1Char('\n');
}

bool writesHeaders(const HwXMLArchive* from, const QString& header, bool assembly, bool keepUnloaded)
{
    const HwRootArchive* root = from->getRootArchive();
    if (!root)
        return keepUnloaded;
    const QString directory = from->getRelativePath(false);
    const QString resolved = QDir::cleanPath(directory.isEmpty() ? header : directory + QLatin1Char('/') + header);
    for (const auto& candidate : root->getArchives()) {
        if (candidate->getHFileRelativeName() == resolved)
            return candidate->getGenerateHeader() && (!assembly || candidate->getGenerateAsm());
    }
    return keepUnloaded;
}

QSet<QString> hiddenVariables(const HwXMLArchive* archive)
{
    QSet<QString> hidden;
    const HwRootArchive* root = archive->getRootArchive();
    if (!root)
        return hidden;
    for (const auto& candidate : root->getArchives()) {
        for (const HwIntVar& variable : candidate->getVariableManager()) {
            if (!variable.isExported())
                hidden.insert(variable.getName().toUpper());
        }
    }
    return hidden;
}

QString variableDefine(const HwIntVar& variable, const QSet<QString>& hidden)
{
    const QString text = variable.c_serialize(false);
    if (hidden.isEmpty() || !variable.isExported() || variable.getEnum())
        return text;
    static const QRegularExpression word(QStringLiteral("[A-Za-z_][A-Za-z0-9_]*"));
    bool named = false;
    for (auto it = word.globalMatch(variable.getExpression()); it.hasNext() && !named;)
        named = hidden.contains(it.next().captured().toUpper());
    if (!named)
        return text;
    const QString head = QLatin1String("#define ") + variable.getName().toUpper();
    const int at = text.lastIndexOf(head);
    if (at < 0)
        return text;
    return text.left(at) + padTo(head, 48) + QStringLiteral("(%1)\n").arg(variable.getValue());
}

bool staysInside(const QString& dir, const QString& relative)
{
    if (relative.isEmpty() || QDir::isAbsolutePath(relative))
        return false;
    const QString base = QDir::cleanPath(QDir(dir).absolutePath());
    const QString target = QDir::cleanPath(base + QLatin1Char('/') + relative);
    const QString prefix = base.endsWith(QLatin1Char('/')) ? base : base + QLatin1Char('/');
    return target.startsWith(prefix) && target.size() > prefix.size();
}

void reportOutputProblem(vellxml::DiagnosticSink* sink, const char* code, const QString& file, const QString& text)
{
    vellxml::Diagnostic diagnostic;
    diagnostic.severity = vellxml::Severity::Error;
    diagnostic.file = file;
    diagnostic.code = QString::fromLatin1(code);
    diagnostic.text = text;
    if (sink)
        sink->report(diagnostic);
    else
        std::fprintf(stderr, "%s\n", diagnostic.description().toUtf8().constData());
}

bool writeOutputFile(
    const QString& dir, const QString& relative, const QString& text, vellxml::DiagnosticSink* sink)
{
    if (!staysInside(dir, relative)) {
        reportOutputProblem(sink, vellxml::code::OutputPath, relative,
            QStringLiteral("Refusing to write '%1': the file would be outside the output directory '%2'.")
                .arg(relative, dir));
        return false;
    }
    const QString path = QDir::cleanPath(dir + QLatin1Char('/') + relative);
    const QString directory = QFileInfo(path).absolutePath();
    if (!QDir().mkpath(directory)) {
        reportOutputProblem(sink, vellxml::code::OutputWrite, path,
            QStringLiteral("Cannot create the directory %1: %2")
                .arg(directory, QString::fromLocal8Bit(std::strerror(errno))));
        return false;
    }
    QSaveFile file(path);
    const QByteArray bytes = text.toUtf8();
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit()) {
        const QString reason = file.errorString();
        file.cancelWriting();
        reportOutputProblem(sink, vellxml::code::OutputWrite, path,
            QStringLiteral("Cannot write the file: %1").arg(reason));
        return false;
    }
    return true;
}

} // namespace vellxml::generators_p

using vellxml::generators_p::hex8;

QString OuputMacro(bool commented, bool withArgument, const QString& name, const QString& value,
    QHash<QString, QString>& registry)
{
    QString finalName = name;
    bool define = !commented;
    if (define) {
        auto found = registry.constFind(name);
        if (found == registry.constEnd()) {
            registry.insert(name, value);
        } else if (found.value() == value) {
            define = false;
        } else {
            std::printf("Conflict macro: %s\n", name.toUtf8().constData());
            for (int k = 1;; ++k) {
                const QString candidate = QStringLiteral("%1_X%2").arg(name).arg(k);
                auto existing = registry.constFind(candidate);
                if (existing == registry.constEnd()) {
                    registry.insert(candidate, value);
                    finalName = candidate;
                    break;
                }
                if (existing.value() == value) {
                    define = false;
                    finalName = candidate;
                    break;
                }
            }
        }
    }
    QString line = (define ? QLatin1String("#define ") : QLatin1String("//#define ")) + finalName;
    if (withArgument)
        line += QLatin1String("(n)");
    return line + space_complement_to(line, 35) + value + QLatin1Char('\n');
}

bool SkippedMacro(const QString& name)
{
    return name.toUpper() == QLatin1String("RESERVED");
}

QString BitFieldPosWriteType(const HwBitField* bitField)
{
    QString text = bitField->getBitSize() == 1
        ? QStringLiteral("[%1]").arg(bitField->getDownPos())
        : QStringLiteral("[%1:%2]").arg(bitField->getUpPos()).arg(bitField->getDownPos());
    switch (bitField->getWriteKind()) {
    case HwBitField::WRITE_SET:
        text += QLatin1String(", write set");
        break;
    case HwBitField::WRITE_CLEAR:
        text += QLatin1String(", write clear");
        break;
    case HwBitField::WRITE_NONE:
        text += QLatin1String(", read only");
        break;
    default:
        break;
    }
    return text;
}

QString vhdl_hexadecimal_regularize(const QString& text)
{
    static const QRegularExpression literal(QStringLiteral("(^|[^A-Za-z0-9_])(0(x|X)[A-Fa-f0-9]+)"));
    QString result = text;
    int from = 0;
    while (true) {
        const QRegularExpressionMatch match = literal.match(result, from);
        if (!match.hasMatch())
            break;
        const QString replacement = QLatin1String("16#") + match.captured(2).mid(2) + QLatin1Char('#');
        const int start = match.capturedStart(2);
        result.replace(start, match.capturedLength(2), replacement);
        from = start + replacement.size();
    }
    return result;
}

QString vhdl_clean_expr(const QString& text)
{
    static const QRegularExpression power(
        QStringLiteral("exp2\\((.*?)\\)"), QRegularExpression::CaseInsensitiveOption);
    QString result = text;
    result.replace(power, QStringLiteral("2**(\\1)"));
    return vhdl_hexadecimal_regularize(result);
}

int vhdl_log2(unsigned int bits)
{
    const unsigned int bytes = bits / 8 + (bits % 8 != 0 ? 1u : 0u);
    if (bytes == 0)
        return 1;
    int highest = 31;
    while (((bytes >> highest) & 1u) == 0)
        --highest;
    const bool powerOfTwo = (bytes & (bytes - 1u)) == 0;
    return highest + (powerOfTwo ? 0 : 1);
}

bool HwVHDLNames::declare(const QString& name)
{
    const QString folded = name.toLower();
    if (m_folded.contains(folded))
        return false;
    m_folded.insert(folded);
    m_names.append(name);
    return true;
}

bool HwVHDLNames::contains(const QString& name) const
{
    return m_folded.contains(name.toLower());
}

QString cIdentifier(const QString& name)
{
    static const QSet<QString> keywords = {QStringLiteral("auto"), QStringLiteral("break"),
        QStringLiteral("case"), QStringLiteral("char"), QStringLiteral("const"), QStringLiteral("continue"),
        QStringLiteral("default"), QStringLiteral("do"), QStringLiteral("double"), QStringLiteral("else"),
        QStringLiteral("enum"), QStringLiteral("extern"), QStringLiteral("float"), QStringLiteral("for"),
        QStringLiteral("goto"), QStringLiteral("if"), QStringLiteral("inline"), QStringLiteral("int"),
        QStringLiteral("long"), QStringLiteral("register"), QStringLiteral("restrict"),
        QStringLiteral("return"), QStringLiteral("short"), QStringLiteral("signed"), QStringLiteral("sizeof"),
        QStringLiteral("static"), QStringLiteral("struct"), QStringLiteral("switch"),
        QStringLiteral("typedef"), QStringLiteral("union"), QStringLiteral("unsigned"),
        QStringLiteral("void"), QStringLiteral("volatile"), QStringLiteral("while"),
        QStringLiteral("_Alignas"), QStringLiteral("_Alignof"), QStringLiteral("_Atomic"),
        QStringLiteral("_Bool"), QStringLiteral("_Complex"), QStringLiteral("_Generic"),
        QStringLiteral("_Imaginary"), QStringLiteral("_Noreturn"), QStringLiteral("_Static_assert"),
        QStringLiteral("_Thread_local"),
        // Names of the including environment that a member or macro must not take.
        QStringLiteral("asm"), QStringLiteral("typeof"), QStringLiteral("REG32"), QStringLiteral("REG16"),
        QStringLiteral("REG8"), QStringLiteral("UINT32"), QStringLiteral("UINT16"),
        QStringLiteral("UINT8"), QStringLiteral("INT32"), QStringLiteral("INT16"), QStringLiteral("INT8"),
        QStringLiteral("BOOL"), QStringLiteral("VOID")};
    static const QRegularExpression other(QStringLiteral("[^A-Za-z0-9_]"));
    QString id = name.trimmed();
    id.replace(other, QStringLiteral("_"));
    if (id.isEmpty() || id.front().isDigit())
        id.prepend(QLatin1Char('_'));
    if (keywords.contains(id))
        id.append(QLatin1Char('_'));
    return id;
}

QStringList cMemberNames(const HwStruct* structure)
{
    QStringList names;
    QSet<QString> used;
    for (const auto& member : structure->getMemberList()) {
        const QString base = member->getType() == TYPE_HOLE
            ? QLatin1String("Reserved_") + hex8(member->getAddress())
            : cIdentifier(member->getName());
        QString name = base;
        for (int k = 2; used.contains(name); ++k)
            name = base + QStringLiteral("_%1").arg(k);
        used.insert(name);
        names.append(name);
    }
    return names;
}

QString cStructTypeName(const HwStruct* structure)
{
    if (structure->isRootStruct())
        return QLatin1String("HWP_") + NameUpper(structure->getTypeString()) + QLatin1String("_T");
    return cIdentifier(ESDRTypeConvert(structure->getTypeString()));
}

QString vhdlNamePart(const QString& name)
{
    static const QRegularExpression other(QStringLiteral("[^A-Za-z0-9_]"));
    static const QRegularExpression runs(QStringLiteral("_+"));
    QString id = name.trimmed();
    id.replace(other, QStringLiteral("_"));
    id.replace(runs, QStringLiteral("_"));
    while (id.startsWith(QLatin1Char('_')))
        id.remove(0, 1);
    while (id.endsWith(QLatin1Char('_')))
        id.chop(1);
    return id.isEmpty() ? QStringLiteral("x") : id;
}

QString vhdlIdentifier(const QString& name)
{
    static const QSet<QString> reserved = [] {
        QSet<QString> words;
        for (const char* word : {"abs", "access", "after", "alias", "all", "and", "architecture", "array",
                 "assert", "assume", "assume_guarantee", "attribute", "begin", "block", "body", "buffer", "bus",
                 "case", "component", "configuration", "constant", "context", "cover", "default",
                 "disconnect", "downto", "else", "elsif", "end", "entity", "exit", "fairness", "file", "for",
                 "force", "function", "generate", "generic", "group", "guarded", "if", "impure", "in",
                 "inertial", "inout", "is", "label", "library", "linkage", "literal", "loop", "map", "mod",
                 "nand", "new", "next", "nor", "not", "null", "of", "on", "open", "or", "others", "out",
                 "package", "parameter", "port", "postponed", "procedure", "process", "property",
                 "protected", "pure", "range", "record", "register", "reject", "release", "rem", "report",
                 "restrict", "restrict_guarantee", "return", "rol", "ror", "select", "sequence", "severity",
                 "shared", "signal", "sla", "sll", "sra", "srl", "strong", "subtype", "then", "to",
                 "transport", "type", "unaffected", "units", "until", "use", "variable", "vmode", "vprop",
                 "vunit", "wait", "when", "while", "with", "xnor", "xor",
                 // Names of the packages every generated package uses.
                 "ieee", "std", "work", "std_logic_1164", "std_logic", "std_logic_vector", "integer",
                 "natural", "positive"})
            words.insert(QString::fromLatin1(word));
        return words;
    }();
    QString id = vhdlNamePart(name);
    if (id.front().isDigit())
        id.prepend(QLatin1Char('n'));
    if (reserved.contains(id.toLower()))
        id.append(QLatin1String("_id"));
    return id;
}
