#ifndef VELLXML_MODEL_FORMAT_P_H
#define VELLXML_MODEL_FORMAT_P_H

#include <QString>

#include <cstdint>
#include <cstdio>

namespace vellxml::model_p {

/// Eight upper-case hexadecimal digits with leading zeros: the form of every address the model prints.
inline QString hex8(std::uint32_t value)
{
    return QStringLiteral("%1").arg(value, 8, 16, QLatin1Char('0')).toUpper();
}

/// Upper-case hexadecimal without leading zeros.
inline QString hexUpper(std::uint32_t value)
{
    return QString::number(value, 16).toUpper();
}

/// The debugging line of dumpInfo(): the indent, then the kind's number and the name.
inline void printDumpLine(int type, const QString& name)
{
    std::printf("%d %s\n", type, name.toUtf8().constData());
}

/// value >> shift for any shift: negative shifts move left, shifts of 32 bits or more give 0.
inline std::uint32_t shiftRight(std::uint32_t value, long long shift)
{
    if (shift <= -32 || shift >= 32)
        return 0;
    return shift >= 0 ? value >> shift : value << -shift;
}

} // namespace vellxml::model_p

#endif
