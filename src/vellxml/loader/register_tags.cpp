// The register-level tags: valuables, bitfields, bit groups, options, holes and spacers.

#include "description_checks_p.h"
#include "tags_p.h"
#include "xml_element_p.h"

#include <vellxml/loader/archive.h>
#include "archive_loader_p.h"
#include <vellxml/loader/text_helpers.h>
#include <vellxml/model/bitfield.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/valuable.h>

#include <QRegularExpression>

#include <algorithm>
#include <cstdint>
#include <string_view>

using vellxml::loader_p::displayFromText;
using vellxml::loader_p::evaluate;
using vellxml::loader_p::Evaluation;
using vellxml::loader_p::splitWords;

namespace {

/// Whether the UTF-8 `text` lowered as QString::toLower() lowers it is `lower`, a lower-case ASCII word
/// without "i" or "k": those are the only ASCII letters that characters outside ASCII lower to (U+0130,
/// U+212A), so comparing bytes is enough.
bool equalsIgnoringAsciiCase(std::string_view text, const char* lower)
{
    std::size_t i = 0;
    for (; i < text.size() && lower[i] != '\0'; ++i) {
        const char c = text[i];
        if ((c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c) != lower[i])
            return false;
    }
    return i == text.size() && lower[i] == '\0';
}

// "up:down" splits as "^(.+):(.+)$" would split it: at the last ':' that leaves both sides non-empty. The
// pattern's "." and "$" give line breaks a meaning of their own, so a text holding one goes through it;
// positions never do, and a hand-written split is much cheaper than a match.
void splitPosition(const QString& pos, QString& upText, QString& downText)
{
    bool lineBreak = false;
    for (const QChar c : pos) {
        const char16_t u = c.unicode();
        if ((u >= u'\n' && u <= u'\r') || u == 0x85 || u == 0x2028 || u == 0x2029) {
            lineBreak = true;
            break;
        }
    }
    if (lineBreak) {
        static const QRegularExpression range(QStringLiteral("^(.+):(.+)$"));
        const QRegularExpressionMatch match = range.match(pos);
        if (match.hasMatch()) {
            upText = match.captured(1);
            downText = match.captured(2);
        }
        return;
    }
    for (qsizetype k = pos.size() - 2; k >= 1; --k) {
        if (pos.at(k) == QLatin1Char(':')) {
            upText = pos.left(k);
            downText = pos.mid(k + 1);
            return;
        }
    }
}

std::unique_ptr<HwValuable> createValuable(
    const QString& tag, const QString& name, bool readable, bool writable)
{
    if (tag == QLatin1String("reg32") || tag == QLatin1String("reg"))
        return std::make_unique<HwRegister32>(name, readable, writable);
    if (tag == QLatin1String("reg16"))
        return std::make_unique<HwRegister16>(name, readable, writable);
    if (tag == QLatin1String("reg8"))
        return std::make_unique<HwRegister8>(name, readable, writable);
    if (tag == QLatin1String("ireg"))
        return std::make_unique<HwInternalRegister8>(name, readable, writable);
    // Integers carry no protection: only target registers are guarded.
    if (tag == QLatin1String("int32") || tag == QLatin1String("int"))
        return std::make_unique<HwInt32>(name);
    if (tag == QLatin1String("uint32") || tag == QLatin1String("uint"))
        return std::make_unique<HwUnsignedInt32>(name);
    if (tag == QLatin1String("int16"))
        return std::make_unique<HwInt16>(name);
    if (tag == QLatin1String("uint16"))
        return std::make_unique<HwUnsignedInt16>(name);
    if (tag == QLatin1String("int8"))
        return std::make_unique<HwInt8>(name);
    if (tag == QLatin1String("uint8"))
        return std::make_unique<HwUnsignedInt8>(name);
    if (tag == QLatin1String("bool"))
        return std::make_unique<HwBoolean>(name);
    if (tag == QLatin1String("void"))
        return std::make_unique<HwVoid>(name);
    return nullptr;
}

// The `access` values of a bitfield: "rw" (also when empty), "r", "w", "rs"/"s" (write one to set),
// "rc"/"c" (write one to clear), and the forms getAccessString() prints ("r-", "-w", "--", "-s", "-c").
bool parseAccess(std::string_view access, bool& readable, int& writeKind)
{
    struct Form {
        const char* text;
        bool readable;
        int writeKind;
    };
    static const Form forms[] = {{"", true, HwBitField::WRITE_NORMAL}, {"rw", true, HwBitField::WRITE_NORMAL},
        {"r", true, HwBitField::WRITE_NONE}, {"r-", true, HwBitField::WRITE_NONE},
        {"w", false, HwBitField::WRITE_NORMAL}, {"-w", false, HwBitField::WRITE_NORMAL},
        {"--", false, HwBitField::WRITE_NONE}, {"rs", true, HwBitField::WRITE_SET},
        {"s", true, HwBitField::WRITE_SET}, {"-s", false, HwBitField::WRITE_SET},
        {"rc", true, HwBitField::WRITE_CLEAR}, {"c", true, HwBitField::WRITE_CLEAR},
        {"-c", false, HwBitField::WRITE_CLEAR}};
    for (const Form& form : forms) {
        if (access == form.text) {
            readable = form.readable;
            writeKind = form.writeKind;
            return true;
        }
    }
    return false;
}

} // namespace

std::unique_ptr<HwXMLElement> HwArchiveLoader::manageValuableTag(
    const HwXmlElementView& element, HwXMLArchive* archive, const QString& typeName, const QString& tagName)
{
    const QString name = regularizeVariableName(element.attribute("name"));
    const QString protect = element.attribute("protect");
    ArrayCount count;
    if (!readArrayCount(archive, element, typeName, tagName, name, true, count))
        return nullptr;
    if (name.isEmpty()) {
        reportError(archive, element, QStringLiteral("Module contains an unamed %1\n").arg(tagName));
        return nullptr;
    }
    // The protection test is case-sensitive: "R" protects nothing.
    std::unique_ptr<HwValuable> valuable = createValuable(
        tagName, name, !protect.contains(QLatin1Char('r')), !protect.contains(QLatin1Char('w')));
    if (!valuable)
        return nullptr;
    if (!charge(archive, element, 1))
        return nullptr;
    valuable->addCKeywords(splitWords(element.attribute("ckeywords")));
    const QString display = element.attribute("display", QStringLiteral("notdef"));
    if (display != QLatin1String("notdef"))
        valuable->setDisplayType(displayFromText(display));

    if (m_checker)
        m_checker->beginRegister();
    for (const HwXmlElementView& child : element.childElements()) {
        const LowerTag tag = child.lowerTag();
        bool ok = true;
        if (tag == QLatin1String("bits")) {
            ok = manageBitsTag(child, valuable.get(), archive);
        } else if (tag == QLatin1String("bitgroup")) {
            ok = manageBitgroupTag(child, valuable.get(), archive);
        } else if (tag == QLatin1String("comment")) {
            valuable->setComment(readCommentFromCommentTag(child));
        } else if (tag == QLatin1String("l")) {
            valuable->setLowPartName(child.attribute("name"));
        } else if (tag == QLatin1String("h")) {
            valuable->setHighPartName(child.attribute("name"));
        } else {
            reportError(archive, child,
                QStringLiteral("%1 %2 contains an unvalid %3 tag.\n")
                    .arg(valuable->getTypeString(), valuable->getName(), child.tagName()));
            ok = false;
        }
        if (!ok)
            return nullptr;
    }
    if (m_checker)
        m_checker->finishRegister(archive, valuable.get());
    if (!count.isArray)
        return valuable;
    valuable->setTypeName(tagName);
    return makeArray(archive, element, std::move(valuable), count.value, count.text);
}

bool HwArchiveLoader::manageBitsTag(
    const HwXmlElementView& element, HwValuable* valuable, HwXMLArchive* archive, HwBitGroup* group)
{
    // A chip has millions of fields: the attributes that are compared with words are read as the document
    // holds them, and only those that become texts are made QStrings.
    const QString name = regularizeVariableName(element.attribute("name"));
    const std::string_view access = element.attributeUtf8("access");
    const QString pos = element.attribute("pos");
    const std::string_view rstUtf8 = element.attributeUtf8("rst");
    const std::string_view display = element.attributeUtf8("display");
    const std::string_view cutUtf8 = element.attributeUtf8("cut");
    const std::string_view cutEnumUtf8 = element.attributeUtf8("cutenum");
    const std::string_view cutStartUtf8 = element.attributeUtf8("cutstart");
    const std::string_view cutPrefixUtf8 = element.attributeUtf8("cutprefix");
    const bool isCut = cutUtf8.data() != nullptr && cutUtf8 != "no";
    const QString valuableName = valuable->getName();

    if (name.isEmpty()) {
        reportError(
            archive, element, QStringLiteral("Valuable %1 contains an unamed bitfield.\n").arg(valuableName));
        return false;
    }
    if (pos.isEmpty()) {
        reportError(archive, element,
            QStringLiteral("Valuable %1, bitfield %2 : position undefined\n").arg(valuableName, name));
        return false;
    }
    bool readable = true;
    int writeKind = HwBitField::WRITE_NORMAL;
    if (!parseAccess(access, readable, writeKind)) {
        reportError(archive, element,
            QStringLiteral("Bitfield '%1' has an invalid access '%2'.\n")
                .arg(name, element.valueText(access)));
        return false;
    }

    QString upText = pos;
    QString downText = pos;
    splitPosition(pos, upText, downText);
    const auto evaluateOrReport = [&](const QString& text, int& value) {
        const Evaluation result = evaluate(archive, text);
        if (result.failed) {
            reportError(archive, element,
                QStringLiteral("Valuable %1, bitfield %2, expression %3 : %4\n")
                    .arg(valuableName, name, text, result.errorText));
            return false;
        }
        value = result.value;
        return true;
    };
    int up = 0;
    int down = 0;
    if (!evaluateOrReport(upText, up) || !evaluateOrReport(downText, down))
        return false;
    if (up < down) {
        std::swap(up, down);
        std::swap(upText, downText);
    }

    std::uint32_t resetValue = 0;
    bool hasReset = false;
    const QString rst = rstUtf8.data() != nullptr ? element.valueText(rstUtf8) : QStringLiteral("no");
    if (equalsIgnoringAsciiCase(rstUtf8, "all1")) {
        resetValue = 0xFFFFFFFFu;
        hasReset = true;
    } else if (rstUtf8.data() != nullptr && !equalsIgnoringAsciiCase(rstUtf8, "no")) {
        int value = 0;
        if (!evaluateOrReport(rst, value))
            return false;
        resetValue = static_cast<std::uint32_t>(value);
        hasReset = true;
    }
    const DisplayType displayType = displayFromText(display);
    if (m_checker)
        m_checker->checkField(archive, element, valuable, name, up, down, hasReset, rst, resetValue, isCut);

    // The field itself, or the model of the pieces of a cut field: its `comment` and `options` children
    // are read once and given to every piece.
    if (!charge(archive, element, 1))
        return false;
    auto bitField = std::make_unique<HwBitField>(
        name, readable, writeKind, upText, up, downText, down, resetValue, hasReset, displayType);
    bitField->reparent(valuable);
    for (const HwXmlElementView& child : element.childElements()) {
        const LowerTag tag = child.lowerTag();
        if (tag == QLatin1String("comment")) {
            bitField->setComment(readCommentFromCommentTag(child));
        } else if (tag == QLatin1String("options")) {
            if (!manageOptionsTag(child, bitField.get(), archive))
                return false;
        } else {
            reportError(archive, child,
                QStringLiteral("Bitfield '%1' contains an unvalid '%2' tag.\n").arg(name, child.tagName()));
            return false;
        }
    }
    if (!isCut) {
        HwBitField* added = valuable->addBitField(std::move(bitField));
        if (group)
            group->addBitField(added);
        return true;
    }

    // A cut field becomes a group of equal pieces, numbered from cutstart, lowest bits first.
    const QString cut = element.valueText(cutUtf8);
    const QString cutEnum = element.valueText(cutEnumUtf8);
    const QString cutStart =
        cutStartUtf8.data() != nullptr ? element.valueText(cutStartUtf8) : QStringLiteral("0");
    const QString cutPrefix = element.valueText(cutPrefixUtf8);
    bool sizeOk = false;
    const int cutSize = cut.toInt(&sizeOk);
    if (!sizeOk || cutSize <= 0) {
        reportError(archive, element,
            QStringLiteral("Valuable %1, bitfield %2 : bad cut size\n").arg(valuableName, name));
        return false;
    }
    const long long width = static_cast<long long>(up) - down + 1;
    if (width <= 0 || width % cutSize != 0) {
        reportError(archive, element,
            QStringLiteral("Valuable %1, bitfield %2 : cutting bitfield with divisor non-multiple of total "
                           "bitfield size\n")
                .arg(valuableName, name));
        return false;
    }
    const HwEnum* pieceNames = nullptr;
    if (!cutEnum.isEmpty()) {
        pieceNames = archive->getVariableManager().getEnumByName(cutEnum);
        if (!pieceNames) {
            reportError(archive, element,
                QStringLiteral("Bitfield '%1' is cut thanks to an undefined enum '%2'.\n")
                    .arg(name, cutEnum));
            return false;
        }
    }
    const Evaluation start = evaluate(archive, cutStart);
    if (start.failed) {
        reportError(archive, element,
            QStringLiteral("Valuable '%1', bitfield '%2', expression '%3' : %4\n")
                .arg(valuableName, name, cutStart, start.errorText));
        return false;
    }
    const long long pieces = width / cutSize;
    if (!charge(archive, element, pieces))
        return false;
    // Each piece takes its own bits of the field's reset value.
    const std::uint64_t pieceMask = (std::uint64_t {1} << std::min(cutSize, 32)) - 1;
    auto cutGroup = std::make_unique<HwBitGroup>(name, valuable);
    for (long long piece = 0; piece < pieces; ++piece) {
        const int number = start.value + static_cast<int>(piece);
        const QString pieceName =
            cutPrefix + (pieceNames ? pieceNames->getEntryName(number) : QString::number(number));
        const int pieceDown = down + static_cast<int>(piece) * cutSize;
        const int pieceUp = pieceDown + cutSize - 1;
        const long long shift = piece * cutSize;
        const auto pieceReset =
            static_cast<std::uint32_t>(shift >= 32 ? 0 : (std::uint64_t {resetValue} >> shift) & pieceMask);
        auto pieceField =
            std::make_unique<HwBitField>(pieceName, readable, writeKind, QString::number(pieceUp), pieceUp,
                QString::number(pieceDown), pieceDown, pieceReset, hasReset, displayType);
        pieceField->setPositions(QString::number(pieceUp), pieceUp, QString::number(pieceDown), pieceDown);
        pieceField->setComment(bitField->getComment());
        pieceField->setValueMacro(bitField->hasValueMacro());
        pieceField->setMaskMacro(bitField->hasMaskMacro());
        pieceField->setShiftMacro(bitField->hasShiftMacro());
        for (const HwBitFieldOption& option : bitField->getOptions())
            pieceField->addOption(option);
        if (m_checker)
            m_checker->notePiece(archive, element, pieceName);
        HwBitField* added = valuable->addBitField(std::move(pieceField));
        cutGroup->addBitField(added);
        if (group)
            group->addBitField(added);
    }
    valuable->addBitGroup(std::move(cutGroup));
    return true;
}

bool HwArchiveLoader::manageBitgroupTag(
    const HwXmlElementView& element, HwValuable* valuable, HwXMLArchive* archive)
{
    auto group = std::make_unique<HwBitGroup>(regularizeVariableName(element.attribute("name")), valuable);
    for (const HwXmlElementView& child : element.childElements()) {
        if (child.lowerTag() != QLatin1String("entry")) {
            reportError(archive, child,
                QStringLiteral("Bitgroup %1 contains an unvalid %2 tag.\n")
                    .arg(group->getName(), child.tagName()));
            return false;
        }
        if (!manageBitgroupEntryTag(child, group.get(), valuable, archive))
            return false;
    }
    valuable->addBitGroup(std::move(group));
    return true;
}

bool HwArchiveLoader::manageBitgroupEntryTag(
    const HwXmlElementView& element, HwBitGroup* group, HwValuable* valuable, HwXMLArchive* archive)
{
    const QString ref = element.attribute("ref");
    if (HwBitField* bitField = valuable->getBitFieldByName(ref)) {
        group->addBitField(bitField);
        return true;
    }
    if (const HwBitGroup* other = valuable->getBitGroupByName(ref)) {
        group->addBitGroup(other);
        return true;
    }
    reportError(archive, element,
        QStringLiteral("Bitgroup '%1' contains an undefined bitfield or bitgroup '%2'.\n")
            .arg(group->getName(), ref));
    return false;
}

// `default`, `mask` and `shift` ("yes"/"no", default "no") ask for the bitfield's value, mask and shift
// macros. `linkenum` takes the options from an enum's entries, whose values are their variables'.
bool HwArchiveLoader::manageOptionsTag(
    const HwXmlElementView& element, HwBitField* bitField, HwXMLArchive* archive)
{
    const QString name = bitField->getName();
    bitField->setValueMacro(element.attributeUtf8("default") == "yes");
    bitField->setMaskMacro(element.attributeUtf8("mask") == "yes");
    bitField->setShiftMacro(element.attributeUtf8("shift") == "yes");
    const QString linkEnum = element.attribute("linkenum");
    if (!linkEnum.isEmpty()) {
        const HwEnum* e = archive->getVariableManager().getEnumByName(linkEnum);
        if (!e) {
            reportError(archive, element,
                QStringLiteral("Options of bitfield '%1' is linked to an undefined enum '%2'.\n")
                    .arg(name, linkEnum));
            return false;
        }
        for (const QString& entry : e->getEntries()) {
            HwBitFieldOption option;
            option.name = entry;
            const Evaluation value = evaluate(archive, entry);
            option.value = static_cast<std::uint32_t>(value.failed ? 0 : value.value);
            bitField->addOption(option);
        }
    }
    for (const HwXmlElementView& child : element.childElements()) {
        const LowerTag tag = child.lowerTag();
        if (tag == QLatin1String("option")) {
            if (!linkEnum.isEmpty()) {
                reportError(archive, child,
                    QStringLiteral(
                        "Options of bitfield '%1' is linked to enum '%2' but tries to define an other "
                        "option.\n")
                        .arg(name, linkEnum));
                return false;
            }
            if (!manageOptionsOptionTag(child, bitField, archive))
                return false;
        } else {
            reportError(archive, child,
                QStringLiteral("Options of bitfield '%1' contains an unvalid '%2' tag.\n")
                    .arg(name, child.tagName()));
            return false;
        }
    }
    return true;
}

bool HwArchiveLoader::manageOptionsOptionTag(
    const HwXmlElementView& element, HwBitField* bitField, HwXMLArchive* archive)
{
    HwBitFieldOption option;
    option.name = regularizeVariableName(element.attribute("name"));
    const QString valueText = element.attribute("value", QStringLiteral("0"));
    const Evaluation value = evaluate(archive, valueText);
    if (value.failed) {
        reportError(
            archive, element, QStringLiteral("Option expression %1 : %2\n").arg(valueText, value.errorText));
        return false;
    }
    option.value = static_cast<std::uint32_t>(value.value);
    if (m_checker)
        m_checker->checkOption(archive, element, bitField, option.name, option.value);
    for (const HwXmlElementView& child : element.childElements()) {
        if (child.lowerTag() != QLatin1String("comment")) {
            reportError(archive, child,
                QStringLiteral("Bitfield options '%1' contains an unvalid '%2' tag.\n")
                    .arg(option.name, child.tagName()));
            return false;
        }
        option.description = readCommentFromCommentTag(child);
    }
    bitField->addOption(option);
    return true;
}

std::unique_ptr<HwXMLElement> HwArchiveLoader::manageHoleTag(
    const HwXmlElementView& element, HwXMLArchive* archive, const QString& typeName)
{
    (void)typeName;
    const QString size = element.attribute("size");
    const Evaluation value = evaluate(archive, size);
    if (value.failed) {
        reportError(archive, element, QStringLiteral("Hole expression %1 : %2\n").arg(size, value.errorText));
        return nullptr;
    }
    if (m_checker)
        m_checker->checkHole(archive, element, value.value);
    if (!charge(archive, element, 1))
        return nullptr;
    return std::make_unique<HwHole>(value.value);
}

bool HwArchiveLoader::manageSpacerTag(const HwXmlElementView& element, HwXMLArchive* archive)
{
    QString comment;
    for (const HwXmlElementView& child : element.childElements()) {
        if (child.lowerTag() == QLatin1String("comment"))
            comment += readCommentFromCommentTag(child);
    }
    HwIntVar spacer = generateSpacer();
    spacer.setOrigin(comment);
    archive->getVariableManager().addVar(spacer);
    return true;
}
