#ifndef VELLXML_LOADER_TAGS_P_H
#define VELLXML_LOADER_TAGS_P_H

#include <vellxml/loader/archive.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/valuable.h>

#include <QString>
#include <QStringList>

#include <cstdint>
#include <string_view>

namespace vellxml::loader_p {

/// One evaluation of a description expression with an archive's variables.
struct Evaluation {
    int value = 0;
    bool failed = false;
    QString errorText;
};

inline Evaluation evaluate(const HwXMLArchive* archive, const QString& expression)
{
    Evaluation result;
    // Most positions, counts and sizes are small decimal numbers: they need neither the variables nor the
    // evaluator, which would give the same value. (A leading zero is left to the evaluator.)
    const qsizetype length = expression.size();
    if (length > 0 && length <= 9 && (length == 1 || expression.at(0) != QLatin1Char('0'))) {
        int value = 0;
        bool digits = true;
        for (const QChar c : expression) {
            if (c < QLatin1Char('0') || c > QLatin1Char('9')) {
                digits = false;
                break;
            }
            value = value * 10 + (c.unicode() - '0');
        }
        if (digits) {
            result.value = value;
            return result;
        }
    }
    // Likewise "0x" and up to eight hexadecimal digits (reset values, addresses): the evaluator would give
    // the 32-bit pattern as a signed number.
    if (length > 2 && length <= 10 && expression.startsWith(QLatin1String("0x"))) {
        std::uint32_t bits = 0;
        bool digits = true;
        for (qsizetype i = 2; i < length && digits; ++i) {
            const char16_t c = expression.at(i).unicode();
            if (c >= '0' && c <= '9')
                bits = (bits << 4) | static_cast<std::uint32_t>(c - '0');
            else if ((c | 0x20) >= 'a' && (c | 0x20) <= 'f')
                bits = (bits << 4) | static_cast<std::uint32_t>((c | 0x20) - 'a' + 10);
            else
                digits = false;
        }
        if (digits) {
            result.value = static_cast<int>(bits);
            return result;
        }
    }
    result.value = archive->getVariableManager().evalExpression(expression, result.errorText, result.failed);
    return result;
}

/// `ckeywords`: blank-separated words, empty parts dropped.
inline QStringList splitWords(const QString& text)
{
    return text.split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

/// "hex", "bin", anything else decimal.
inline DisplayType displayFromText(const QString& text)
{
    if (text == QLatin1String("hex"))
        return DISPLAY_HEX;
    if (text == QLatin1String("bin"))
        return DISPLAY_BIN;
    return DISPLAY_DEC;
}

/// displayFromText() of a UTF-8 text.
inline DisplayType displayFromText(std::string_view text)
{
    if (text == "hex")
        return DISPLAY_HEX;
    if (text == "bin")
        return DISPLAY_BIN;
    return DISPLAY_DEC;
}

/// The number of model nodes of a subtree: what a copy of it builds.
inline std::int64_t countTree(const HwXMLElement* element)
{
    std::int64_t count = 1;
    if (element->isStruct()) {
        for (const auto& member : static_cast<const HwStruct*>(element)->getMemberList())
            count += countTree(member.get());
    } else if (element->isArray()) {
        for (const auto& item : static_cast<const HwArray*>(element)->getMemberList())
            count += countTree(item.get());
    } else if (element->isValuable()) {
        count += static_cast<std::int64_t>(static_cast<const HwValuable*>(element)->getBitFields().size());
    }
    return count;
}

} // namespace vellxml::loader_p

#endif
