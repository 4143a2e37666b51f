// Copy independence over random elements: whatever a source and its deep copy hold (the rare fields of
// elements, registers and bitfields present or not), changing one afterwards never shows in the other, and
// the copy keeps every field the source had.
#include "model/model_support.h"

#include <vellxml/model/bitfield.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/element.h>
#include <vellxml/model/valuable.h>

#include <gtest/gtest.h>

#include <QStringList>

#include <cstdint>
#include <memory>
#include <random>

namespace {

QString text(std::mt19937& random, const char* stem)
{
    return QString::fromLatin1(stem) + QString::number(random() % 1000);
}

bool chance(std::mt19937& random, int percent)
{
    return static_cast<int>(random() % 100) < percent;
}

void decorateElement(HwXMLElement& element, std::mt19937& random)
{
    if (chance(random, 50))
        element.setComment(text(random, "comment"));
    if (chance(random, 50))
        element.setTypeName(text(random, "type"));
    if (chance(random, 30))
        element.addCKeywords({QStringLiteral("volatile"), text(random, "kw")});
    if (chance(random, 30))
        element.setAltAddress(text(random, "SEL"), random());
    if (chance(random, 30))
        element.setCategory(text(random, "category"));
    if (chance(random, 30))
        element.setAnnotation(text(random, "note"));
    element.setArrayNumber(static_cast<int>(random() % 8) - 1);
    element.remap(random() % 0x1000);
}

std::unique_ptr<HwBitField> randomField(std::mt19937& random, int index)
{
    const int down = static_cast<int>(random() % 32);
    const int up = down + static_cast<int>(random() % static_cast<unsigned>(32 - down));
    // Position texts are mostly the numbers (not stored), sometimes expressions (kept beside the field).
    const QString upText = chance(random, 30) ? QStringLiteral("W-") + QString::number(31 - up) : QString::number(up);
    const QString downText = chance(random, 30) ? QStringLiteral("B+") + QString::number(down) : QString::number(down);
    auto field = std::make_unique<HwBitField>(QStringLiteral("f") + QString::number(index), chance(random, 80),
        static_cast<int>(random() % 4), upText, up, downText, down, random(), chance(random, 50),
        static_cast<DisplayType>(random() % 4));
    decorateElement(*field, random);
    const int options = chance(random, 40) ? static_cast<int>(random() % 4) : 0;
    for (int i = 0; i < options; ++i)
        field->addOption({text(random, "OPT"), static_cast<std::uint32_t>(random() % 8), text(random, "about ")});
    if (chance(random, 30))
        field->setPhysicalPositions(QStringLiteral("p+1"), up + 1, QStringLiteral("p"), down);
    field->setValueMacro(chance(random, 50));
    field->setMaskMacro(chance(random, 50));
    field->setShiftMacro(chance(random, 50));
    return field;
}

std::unique_ptr<HwRegister32> randomRegister(std::mt19937& random)
{
    auto reg = std::make_unique<HwRegister32>(text(random, "reg"), chance(random, 80), chance(random, 80));
    decorateElement(*reg, random);
    reg->setValue(random());
    reg->setDisplayType(static_cast<DisplayType>(random() % 4));
    reg->setEnumHolder(chance(random, 10));
    if (chance(random, 20)) {
        reg->setLowPartName(text(random, "lo"));
        reg->setHighPartName(text(random, "hi"));
    }
    if (chance(random, 20))
        reg->setExtraText(text(random, "extra"));
    const int fields = static_cast<int>(random() % 6);
    for (int i = 0; i < fields; ++i)
        reg->addBitField(randomField(random, i));
    if (fields > 1 && chance(random, 40)) {
        auto group = std::make_unique<HwBitGroup>(text(random, "group"), reg.get());
        group->addBitField(reg->getBitFields()[1].get());
        group->addBitField(reg->getBitFields()[0].get());
        reg->addBitGroup(std::move(group));
    }
    if (chance(random, 30))
        reg->buildPhysicalMap();
    return reg;
}

/// Everything a caller can observe of an element (and of a register's bitfields and groups), as text. The
/// physical top is left out on request: the VHDL generator computes it per element, a copy does not take it.
QStringList describe(const HwXMLElement& element, bool physicalTop = true)
{
    QStringList out;
    out << element.getName() << element.getComment() << element.getTypeName() << element.getCategory()
        << element.getAnnotation() << element.getCKeywords().join(QLatin1Char(','))
        << QString::number(element.getAddress()) << QString::number(element.getArrayNumber())
        << QString::number(element.getFlags()) << element.getPath();
    const auto alt = element.getAltAddresses();
    for (auto it = alt.begin(); it != alt.end(); ++it)
        out << it.key() + QLatin1Char('=') + QString::number(it.value());
    if (element.isBitfield()) {
        const auto& field = static_cast<const HwBitField&>(element);
        out << QStringLiteral("%1 %2 %3 %4 %5 %6 %7 %8")
                   .arg(field.getUpPos())
                   .arg(field.getDownPos())
                   .arg(field.getUpExpr(), field.getDownExpr())
                   .arg(field.getPhysUpPos())
                   .arg(field.getPhysDownPos())
                   .arg(field.getPhysUpExpr(), field.getPhysDownExpr())
            << field.getAccessString() << field.getResetString(DISPLAY_HEX)
            << QString::number(field.getDisplayType())
            << QStringLiteral("%1%2%3").arg(field.hasValueMacro()).arg(field.hasMaskMacro()).arg(
                   field.hasShiftMacro());
        for (const HwBitFieldOption& option : field.getOptions())
            out << option.name + QLatin1Char('=') + QString::number(option.value) + option.description;
    }
    if (element.isValuable()) {
        const auto& valuable = static_cast<const HwValuable&>(element);
        out << QString::number(valuable.getValue()) << valuable.getProtectString()
            << QString::number(valuable.getDisplayType()) << valuable.getLowPartName()
            << valuable.getHighPartName() << valuable.getExtraText()
            << QString::number(valuable.isEnumHolder());
        if (physicalTop)
            out << QString::number(valuable.getPhysicalTop()) << valuable.getPhysicalTopExpression();
        for (const auto& field : valuable.getBitFields())
            out << describe(*field);
        for (const auto& group : valuable.getBitGroups()) {
            out << group->getName();
            for (const HwBitField* member : group->getBitFields())
                out << member->getName();
        }
    }
    return out;
}

/// One random change, to the element itself or to one of its bitfields.
void mutate(HwXMLElement& element, std::mt19937& random)
{
    HwXMLElement* target = &element;
    auto& reg = static_cast<HwValuable&>(element);
    if (!reg.getBitFields().empty() && chance(random, 50))
        target = reg.getBitFields()[random() % reg.getBitFields().size()].get();
    switch (random() % 11) {
    case 0:
        target->setName(text(random, "renamed"));
        break;
    case 1:
        target->remap(random());
        break;
    case 2:
        target->setCategory(text(random, "other"));
        break;
    case 3:
        target->setAnnotation(text(random, "other"));
        break;
    case 4:
        target->addCKeywords({text(random, "kw")});
        break;
    case 5:
        target->setAltAddress(text(random, "SEL"), random());
        break;
    case 6:
        target->setComment(text(random, "other"));
        break;
    case 7:
        if (target->isBitfield())
            static_cast<HwBitField*>(target)->addOption({text(random, "NEW"), 1, QString()});
        else
            reg.setLowPartName(text(random, "other"));
        break;
    case 8:
        target->setTypeName(chance(random, 30) ? QString() : text(random, "othertype"));
        break;
    case 9:
        if (target->isBitfield()) {
            auto* field = static_cast<HwBitField*>(target);
            const int down = field->getDownPos();
            field->setPositions(chance(random, 50) ? QStringLiteral("E") : QString::number(down + 1), down + 1,
                QString::number(down), down);
        } else {
            reg.setHighPartName(text(random, "other"));
        }
        break;
    default:
        reg.setValue(random());
        if (target->isBitfield())
            static_cast<HwBitField*>(target)->setPhysicalPositions(QStringLiteral("x"), 9, QStringLiteral("y"), 8);
        else
            reg.setExtraText(text(random, "other"));
        break;
    }
}

TEST(CopyPropertyTest, CopiesKeepEveryFieldAndNeverShareChanges)
{
    std::mt19937 random(20240611);
    for (int round = 0; round < 400; ++round) {
        SCOPED_TRACE(round);
        std::unique_ptr<HwRegister32> source = randomRegister(random);
        const QStringList original = describe(*source);

        std::unique_ptr<HwXMLElement> copy = HwXMLElement::anonymousCopy(source.get());
        ASSERT_NE(copy, nullptr);
        EXPECT_EQ(describe(*copy, false), describe(*source, false));
        EXPECT_EQ(static_cast<HwValuable&>(*copy).getPhysicalTop(), -1);
        for (const auto& group : static_cast<HwValuable&>(*copy).getBitGroups())
            for (const HwBitField* member : group->getBitFields())
                EXPECT_EQ(member->getParent(), copy.get());

        // Changes to the copy stay in the copy; changes to the source then stay in the source.
        for (int i = 0; i < 4; ++i)
            mutate(*copy, random);
        EXPECT_EQ(describe(*source), original);
        const QStringList copyAfter = describe(*copy);
        for (int i = 0; i < 4; ++i)
            mutate(*source, random);
        EXPECT_EQ(describe(*copy), copyAfter);
    }
}

} // namespace
