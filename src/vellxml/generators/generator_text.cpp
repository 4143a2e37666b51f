#include "generator_p.h"

#include <vellxml/expr/names.h>
#include <vellxml/generators/generator_text.h>
#include <vellxml/loader/archive.h>
#include <vellxml/loader/text_helpers.h>
#include <vellxml/model/bitfield.h>

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSaveFile>

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

QString asmRegisterLine(
    const QString& prefix, const QString& name, const QString& base, std::uint32_t address)
{
    const QString head = QLatin1String("#define REG_") + prefix + QLatin1Char('_') + NameUpper(name);
    const QString offset = base == QLatin1String(" ") ? QStringLiteral("   ") : base + QLatin1String(" + ");
    return padTo(head, 35) + offset + QLatin1String("0x") + hex8(address) + QLatin1Char('\n');
}

bool writesHeaders(const HwXMLArchive* from, const QString& header, bool assembly)
{
    const HwRootArchive* root = from->getRootArchive();
    if (!root)
        return true;
    for (const auto& candidate : root->getArchives()) {
        const QString own = candidate->getHFileRelativeName();
        if (own == header || own.endsWith(QLatin1Char('/') + header))
            return candidate->getGenerateHeader() && (!assembly || candidate->getGenerateAsm());
    }
    return true;
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
