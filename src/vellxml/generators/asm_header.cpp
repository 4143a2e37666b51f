// The assembly header generator: every register address as a plain macro, in two flavours. The first writes
// instance registers relative to the low half of the instance's base (for instruction sets that build an
// address from a high and a low part); the ARM flavour writes plain addresses.

#include "generator_p.h"

#include <vellxml/expr/names.h>
#include <vellxml/expr/variables.h>
#include <vellxml/loader/archive.h>
#include <vellxml/loader/text_helpers.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/valuable.h>

using namespace vellxml::generators_p;

namespace {

const QLatin1String kRuleEqual(
    "//==============================================================================");
const QLatin1String kRuleDash(
    "//------------------------------------------------------------------------------");

QString includeName(const QString& header, const QString& ending)
{
    QString stem = header;
    if (stem.endsWith(QLatin1String(".h")))
        stem.chop(2);
    return stem + ending;
}

QString archiveAsmText(HwXMLArchive* archive, bool arm)
{
    const QString base = archive->getBaseName();
    // The guard holds the whole relative name: archives of one base name in different folders keep apart.
    QString stem = archive->getHFileRelativeName();
    stem.chop(2);
    const QString guard =
        QLatin1Char('_') + NameUpper(stem) + (arm ? QLatin1String("_ASM_ARM_H_") : QLatin1String("_ASM_H_"));
    const QString ending = arm ? QStringLiteral("_asm_arm.h") : QStringLiteral("_asm.h");
    QSet<QString> names;
    s_asmNames = &names;
    QString text = archive->c_header() + QLatin1Char('\n');
    text += QLatin1String("#ifndef ") + guard + QLatin1String("\n#define ") + guard + QLatin1String("\n\n");
    text += QLatin1String("//THIS FILE HAS BEEN GENERATED WITH OMBREL. PLEASE EDIT WITH CARE !\n\n");
    if (!arm) {
        text += QLatin1String("#ifndef HB_ASM\n")
            + QStringLiteral(
                "#error \"You are trying to use in a normal C code the assembly H description of '%1'.\"\n")
                  .arg(base)
            + QLatin1String("#endif\n\n");
    }
    for (const auto& include : archive->getIncludes()) {
        const auto& entries = include->getConditionalEntries();
        if (entries.empty()) {
            if (writesHeaders(archive, include->getHeaderName(), true, false))
                text +=
                    QStringLiteral("#include \"%1\"\n").arg(includeName(include->getHeaderName(), ending));
            continue;
        }
        // Assembly has no fallback: without a matching condition nothing is included.
        bool first = true;
        for (const auto& entry : entries) {
            if (!writesHeaders(archive, entry.headerName, true, true))
                continue;
            text += (first ? QLatin1String("#if ") : QLatin1String("#elif ")) + entry.condition
                + QLatin1Char('\n');
            text += QStringLiteral("    #include \"%1\"\n").arg(includeName(entry.headerName, ending));
            first = false;
        }
        if (!first)
            text += QLatin1String("#endif\n");
    }
    text += QLatin1Char('\n');
    const QSet<QString> hidden = hiddenVariables(archive);
    for (const HwIntVar& variable : archive->getVariableManager())
        text += variableDefine(variable, hidden);
    text += QLatin1Char('\n');
    for (const auto& element : archive->getElements()) {
        text += kRuleEqual + QLatin1String("\n// ") + element->getTypeString() + QLatin1Char('\n') + kRuleDash
            + QLatin1Char('\n') + convertCommentToCComment(element->getComment(), 80, 0) + QLatin1Char('\n')
            + kRuleEqual + QLatin1Char('\n') + (arm ? element->asmarm_content() : element->asm_content())
            + QLatin1String("\n\n");
    }
    s_asmNames = nullptr;
    return text + QLatin1String("\n#endif\n");
}

} // namespace

namespace vellxml::generators_p {

QString elementAsmContent(HwXMLElement* element, bool arm)
{
    const HwRootArchive* root = element->getRootArchive();
    if (!root)
        return element->asm_serialize(NameUpper(element->getTypeString()), QStringLiteral(" "));
    // A register named BASE (or BASE_HI, BASE_LO) must not redefine an instance's own macros: it takes the
    // next free suffix like any other twin.
    if (s_asmNames) {
        for (const HwXMLElement* instance : root->getInstancesOfType(element->getTypeString())) {
            const QString base = QStringLiteral("REG_%1_BASE").arg(NameUpper(instance->getName()));
            s_asmNames->insert(base);
            s_asmNames->insert(base + QLatin1String("_HI"));
            s_asmNames->insert(base + QLatin1String("_LO"));
        }
    }
    QString text = root->c_getMatchingInstancesBaseAddresses(element);
    if (!text.isEmpty())
        text += QLatin1Char('\n');
    text += arm ? root->c_getMatchingInstancesAsmArmDescription(element)
                : root->c_getMatchingInstancesAsmDescription(element);
    // The type's own lines give the register offsets under the type's name. An instance named like its type
    // already defined those names (relative to its base): the type's lines would redefine them.
    const QString prefix = NameUpper(element->getTypeString());
    for (const HwXMLElement* instance : root->getInstancesOfType(element->getTypeString())) {
        if (NameUpper(instance->getName()) == prefix)
            return text;
    }
    return text + element->asm_serialize(prefix, QStringLiteral(" "));
}

} // namespace vellxml::generators_p

QString HwXMLArchive::asm_content()
{
    return archiveAsmText(this, false);
}

QString HwXMLArchive::asmarm_content()
{
    return archiveAsmText(this, true);
}

QString HwValuable::asm_content()
{
    return elementAsmContent(this, false);
}

QString HwValuable::asmarm_content()
{
    return elementAsmContent(this, true);
}

QString HwStruct::asm_content()
{
    return elementAsmContent(this, false);
}

QString HwStruct::asmarm_content()
{
    return elementAsmContent(this, true);
}

QString HwExternal::asm_content()
{
    return elementAsmContent(this, false);
}

QString HwExternal::asmarm_content()
{
    return elementAsmContent(this, true);
}

QString HwRootArchive::c_getMatchingInstancesAsmDescription(HwXMLElement* type) const
{
    QString text;
    for (const HwXMLElement* instance : getInstancesOfType(type->getTypeString())) {
        const QString name = NameUpper(instance->getName());
        const QString base = QStringLiteral("REG_%1_BASE").arg(name);
        text += padTo(QLatin1String("#define ") + base + QLatin1String("_HI"), 35) + QLatin1String("BASE_HI(")
            + base + QLatin1String(")\n");
        text += padTo(QLatin1String("#define ") + base + QLatin1String("_LO"), 35) + QLatin1String("BASE_LO(")
            + base + QLatin1String(")\n\n");
        text += type->asm_serialize(name, base + QLatin1String("_LO")) + QLatin1Char('\n');
    }
    return text;
}

QString HwRootArchive::c_getMatchingInstancesAsmArmDescription(HwXMLElement* type) const
{
    // The instance is a copy of its type placed at its address: its registers give their absolute addresses.
    QString text;
    for (HwXMLElement* instance : getInstancesOfType(type->getTypeString()))
        text += instance->asm_serialize(NameUpper(instance->getName()), QStringLiteral(" ")) + QLatin1Char('\n');
    return text;
}

// An enum holder only carries the enum's values: it has no address to give.
QString HwValuable::asm_serialize(const QString& prefix, const QString& base)
{
    if (m_enumHolder)
        return QString();
    return asmRegisterLine(prefix, getName(), base, getBaseAddress());
}

QString HwStruct::asm_serialize(const QString& prefix, const QString& base)
{
    QString text;
    for (const auto& member : m_members) {
        if (member->isStruct())
            text += member->asm_serialize(prefix + QLatin1Char('_') + NameUpper(member->getName()), base);
        else
            text += member->asm_serialize(prefix, base);
    }
    return text;
}

// Each item gets its own lines: a structure item extends the prefix with the array's name and the index, a
// register item is named by the array's name and the index.
QString HwArray::asm_serialize(const QString& prefix, const QString& base)
{
    QString text;
    const QString name = NameUpper(getName());
    const QString separator = prefix.endsWith(QLatin1Char('_')) ? QString() : QStringLiteral("_");
    for (std::size_t i = 0; i < m_items.size(); ++i) {
        HwXMLElement* item = m_items[i].get();
        const QString index = QString::number(i);
        if (item->isStruct())
            text += item->asm_serialize(prefix + separator + name + QLatin1Char('_') + index, base);
        else if (item->isValuable() && !static_cast<HwValuable*>(item)->isEnumHolder())
            text += asmRegisterLine(prefix, name + QLatin1Char('_') + index, base, item->getBaseAddress());
        else if (item->isArray())
            text += item->asm_serialize(prefix + separator + name + QLatin1Char('_') + index, base);
    }
    return text;
}
