// The tags that compose and place types (struct, instance, ptr, memory, alias, external) and the
// declarations that feed expressions (var, range, enum).

#include "description_checks_p.h"
#include "tags_p.h"
#include "xml_element_p.h"

#include <vellxml/loader/archive.h>
#include "archive_loader_p.h"
#include <vellxml/loader/memory_map.h>
#include <vellxml/model/bitfield.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/valuable.h>

using vellxml::loader_p::countTree;
using vellxml::loader_p::DescriptionChecker;
using vellxml::loader_p::evaluate;
using vellxml::loader_p::Evaluation;
using vellxml::loader_p::splitWords;

std::unique_ptr<HwXMLElement> HwArchiveLoader::manageStructTag(
    const HwXmlElementView& element, HwXMLArchive* archive, const QString& typeName)
{
    const QString name = element.attribute("name");
    if (name.isEmpty()) {
        reportError(archive, element,
            QStringLiteral("Tag defining '%1' contains struct with no name !").arg(typeName));
        return nullptr;
    }
    ArrayCount count;
    if (!readArrayCount(archive, element, typeName, QStringLiteral("struct"), name, false, count))
        return nullptr;
    if (!charge(archive, element, 1))
        return nullptr;
    auto structure = std::make_unique<HwStruct>(name, name);
    structure->addCKeywords(splitWords(element.attribute("ckeywords")));
    DescriptionChecker::MemberList members;
    for (const HwXmlElementView& child : element.childElements()) {
        if (child.lowerTag() == QLatin1String("comment")) {
            structure->setComment(readCommentFromCommentTag(child));
            continue;
        }
        bool handled = false;
        std::unique_ptr<HwXMLElement> member = manageStructMember(child, archive, typeName, handled);
        if (!handled) {
            reportError(archive, child,
                QStringLiteral("Struct '%1' contains an unvalid '%2' tag.\n").arg(name, child.tagName()));
            return nullptr;
        }
        if (!member)
            return nullptr;
        const unsigned int end = structure->getCurrentSize();
        const HwXMLElement* added = structure->addElement(std::move(member));
        if (m_checker)
            m_checker->checkMember(members, archive, child, structure.get(), added, end, false);
    }
    if (!count.isArray)
        return structure;
    return makeArray(archive, element, std::move(structure), count.value, count.text);
}

std::unique_ptr<HwXMLElement> HwArchiveLoader::manageInstanceTag(
    const HwXmlElementView& element, HwXMLArchive* archive, const QString& typeName)
{
    const QString type = element.attribute("type");
    const QString name = element.attribute("name");
    if (type.isEmpty()) {
        reportError(archive, element, QStringLiteral("Instance '%1' has no type!.\n").arg(name));
        return nullptr;
    }
    if (name.isEmpty()) {
        reportError(archive, element, QStringLiteral("Found instance with no name!.\n"));
        return nullptr;
    }
    ArrayCount count;
    if (!readArrayCount(archive, element, typeName, QStringLiteral("instance"), name, false, count))
        return nullptr;
    HwRootArchive* root = archive->getRootArchive();
    const HwXMLElement* definition = root ? root->getTemplate(type) : nullptr;
    if (!definition) {
        reportError(archive, element,
            QStringLiteral(
                "Instance '%1' uses type '%2' which does not exist (or which must be declared before) !.\n")
                .arg(name, type));
        return nullptr;
    }
    std::unique_ptr<HwXMLElement> member = HwXMLElement::anonymousCopy(definition);
    if (!member || !charge(archive, element, countTree(definition)))
        return nullptr;
    member->setName(name);
    member->remap(0);
    member->setTypeName(type);
    member->addCKeywords(splitWords(element.attribute("ckeywords")));
    for (const HwXmlElementView& child : element.childElements()) {
        if (child.lowerTag() == QLatin1String("comment"))
            member->setComment(readCommentFromCommentTag(child));
    }
    if (!count.isArray)
        return member;
    return makeArray(archive, element, std::move(member), count.value, count.text);
}

HwXMLElement* HwArchiveLoader::manageInstanceTag(const HwXmlElementView& element, HwXMLArchive* archive)
{
    const QString name = element.attribute("name");
    const QString type = element.attribute("type");
    const QString category = element.attribute("category", QStringLiteral("Unclassified"));
    const QString address = element.attribute("address", QStringLiteral("0"));
    const Evaluation base = evaluate(archive, address);
    if (base.failed) {
        reportError(archive, element,
            QStringLiteral("Address of instance '%1' of type '%2' contains an error in its expression !")
                .arg(name, type));
        return nullptr;
    }
    if (name.isEmpty()) {
        reportError(archive, element, QStringLiteral("Instance of '%1' has no name!").arg(type));
        return nullptr;
    }
    if (type.isEmpty()) {
        reportError(archive, element,
            QStringLiteral("Could not instanciate instance '%1'! (missing module or typedef name)")
                .arg(name));
        return nullptr;
    }
    HwRootArchive* root = archive->getRootArchive();
    const HwXMLElement* definition = root ? root->getTemplate(type) : nullptr;
    if (!definition) {
        reportError(archive, element,
            QStringLiteral(
                "Could not instanciate instance '%1' of type '%2'! (missing include or include not valid?)")
                .arg(name, type));
        return nullptr;
    }
    if (!charge(archive, element, countTree(definition)))
        return nullptr;
    HwXMLElement* instance = root->instanciateTemplate(type, name, static_cast<std::uint32_t>(base.value));
    if (!instance)
        return nullptr;
    instance->setCategory(category);
    if (m_checker)
        m_checker->noteInstance(archive, element, instance);
    for (const HwXmlElementView& child : element.childElements()) {
        const LowerTag tag = child.lowerTag();
        if (tag == QLatin1String("comment")) {
            instance->setComment(readCommentFromCommentTag(child));
        } else if (tag == QLatin1String("altaddress")) {
            const QString altAddress = child.attribute("address", QStringLiteral("0"));
            const Evaluation alt = evaluate(archive, altAddress);
            if (alt.failed) {
                reportError(archive, child,
                    QStringLiteral(
                        "Address of instance '%1' of type '%2' contains an error in its expression !")
                        .arg(name, type));
                return nullptr;
            }
            instance->setAltAddress(child.attribute("name").toUpper(), static_cast<std::uint32_t>(alt.value));
        }
    }
    return instance;
}

std::unique_ptr<HwXMLElement> HwArchiveLoader::managePtrTag(
    const HwXmlElementView& element, HwXMLArchive* archive, const QString& typeName)
{
    const QString type = element.attribute("type");
    const QString name = element.attribute("name");
    ArrayCount count;
    if (!readArrayCount(archive, element, typeName, QStringLiteral("ptr"), name, true, count))
        return nullptr;
    if (!charge(archive, element, 1))
        return nullptr;
    // The type is kept by name: the pointed element is made when the pointer is first followed
    // (allocatePointedElement), from a basic type ("void", "int8" ... "uint32", "bool", "memory") or as a
    // copy of the registered type of that name found then. A type may thus point to itself.
    auto pointer = std::make_unique<HwPointer>(name, type);
    pointer->addCKeywords(splitWords(element.attribute("ckeywords")));
    for (const HwXmlElementView& child : element.childElements()) {
        if (child.lowerTag() != QLatin1String("comment")) {
            reportError(archive, child,
                QStringLiteral("Pointer '%1' contains an unvalid '%2' tag.\n").arg(name, child.tagName()));
            return nullptr;
        }
        pointer->setComment(readCommentFromCommentTag(child));
    }
    if (!count.isArray)
        return pointer;
    return makeArray(archive, element, std::move(pointer), count.value, count.text);
}

std::unique_ptr<HwXMLElement> HwArchiveLoader::manageMemoryTag(
    const HwXmlElementView& element, HwXMLArchive* archive, const QString& typeName)
{
    (void)typeName;
    const QString name = element.attribute("name");
    const QString size = element.attribute("size", QStringLiteral("0"));
    const Evaluation value = evaluate(archive, size);
    if (value.failed) {
        reportError(
            archive, element, QStringLiteral("Memory '%1' : error in the size expression !").arg(name));
        return nullptr;
    }
    if (!charge(archive, element, 1))
        return nullptr;
    auto memory = std::make_unique<HwMemory>(name, value.value);
    memory->addCKeywords(splitWords(element.attribute("ckeywords")));
    for (const HwXmlElementView& child : element.childElements()) {
        if (child.lowerTag() != QLatin1String("comment")) {
            reportError(archive, child,
                QStringLiteral("Memory '%1' contains an unvalid '%2' tag.\n").arg(name, child.tagName()));
            return nullptr;
        }
        memory->setComment(readCommentFromCommentTag(child));
    }
    return memory;
}

// An alias is a second view of elements described elsewhere: it becomes a structure named by the alias,
// holding its element tags in order, kept with the archive's elements. It is not a type (no instance can be
// made of it) and it is not placed: its members have the offsets of the structure layout.
bool HwArchiveLoader::manageAliasTag(const HwXmlElementView& element, HwXMLArchive* archive)
{
    const QString name = element.attribute("name");
    if (!charge(archive, element, 1))
        return false;
    auto alias = std::make_unique<HwStruct>(name, name);
    DescriptionChecker::MemberList members;
    for (const HwXmlElementView& child : element.childElements()) {
        const LowerTag tag = child.lowerTag();
        if (tag == QLatin1String("comment")) {
            alias->setComment(readCommentFromCommentTag(child));
            continue;
        }
        bool handled = false;
        std::unique_ptr<HwXMLElement> member;
        if (tag != QLatin1String("hole") && tag != QLatin1String("memory"))
            member = manageStructMember(child, archive, name, handled);
        if (!handled) {
            reportError(archive, child,
                QStringLiteral("Alias '%1' contains an unvalid '%2' tag.\n").arg(name, child.tagName()));
            return false;
        }
        if (!member)
            return false;
        const unsigned int end = alias->getCurrentSize();
        const HwXMLElement* added = alias->addElement(std::move(member));
        if (m_checker)
            m_checker->checkMember(members, archive, child, alias.get(), added, end, false);
    }
    archive->addElement(std::move(alias));
    return true;
}

HwXMLElement* HwArchiveLoader::manageExternalTag(const HwXmlElementView& element, HwXMLArchive* archive)
{
    const QString name = element.attribute("name");
    const QString size = element.attribute("size");
    if (name.isEmpty()) {
        reportError(archive, element, QStringLiteral("External has no name!"));
        return nullptr;
    }
    if (size.isEmpty()) {
        reportError(archive, element, QStringLiteral("External has no size!"));
        return nullptr;
    }
    const Evaluation value = evaluate(archive, size);
    if (value.failed) {
        reportError(archive, element,
            QStringLiteral("External size expression %1 : %2\n").arg(size, value.errorText));
        return nullptr;
    }
    HwRootArchive* root = archive->getRootArchive();
    if (root && root->getTemplate(name)) {
        reportError(
            archive, element, QStringLiteral("Type '%1' already exists or already loaded !").arg(name));
        return nullptr;
    }
    if (!charge(archive, element, 1))
        return nullptr;
    auto external = std::make_unique<HwExternal>(name, value.value);
    external->setCategory(QStringLiteral("Unclassified"));
    HwXMLElement* added = archive->addElement(std::move(external));
    archive->getTemplateManager().addTemplate(added, name);
    return added;
}

// `export` ("yes" by default) "no" keeps the variable for expressions and out of generated files.
bool HwArchiveLoader::manageVarTag(const HwXmlElementView& element, HwXMLArchive* archive)
{
    const QString name = element.attribute("name");
    const QString value = element.attribute("value");
    const bool global = element.attribute("global", QStringLiteral("no")) == QLatin1String("yes");
    const bool exported = element.attribute("export", QStringLiteral("yes")) != QLatin1String("no");
    if (name.isEmpty()) {
        reportError(archive, element,
            QStringLiteral("A variable of the archive '%1' has no name!").arg(archive->getName()));
        return false;
    }
    if (value.isEmpty()) {
        reportError(archive, element,
            QStringLiteral("The variable '%1' of the archive '%2' has no value!")
                .arg(name, archive->getName()));
        return false;
    }
    QString comment;
    for (const HwXmlElementView& child : element.childElements()) {
        if (child.lowerTag() == QLatin1String("comment"))
            comment = readCommentFromCommentTag(child);
    }
    HwMemoryMap* map = archive->getMemoryMap();
    HwVariableManager* target = &archive->getVariableManager();
    if (global && map) {
        if (map->getGlobalVariables().hasVariable(name)) {
            WarningMessage(archive->getTotalPath(), element.line(), element.column(),
                QStringLiteral("Discarding declaration of global variable %1 (already declared).").arg(name));
            return true;
        }
        target = &map->getGlobalVariables();
    }
    // A global is evaluated with the declaring archive's variables, then stored with the globals.
    Evaluation result = evaluate(archive, value);
    if (result.failed) {
        // The message names the variable being declared, as the evaluation under its name does.
        archive->getVariableManager().evalExpression(name, value, result.errorText, result.failed);
        reportError(archive, element,
            QStringLiteral("In archive '%1', variable '%2' declaration : %3")
                .arg(archive->getName(), name, result.errorText),
            vellxml::code::Expression);
        return false;
    }
    HwIntVar variable(name, value, result.value);
    variable.setOrigin(comment);
    variable.setExported(exported);
    target->addVar(variable);
    return true;
}

bool HwArchiveLoader::manageRangeTag(const HwXmlElementView& element, HwXMLArchive* archive)
{
    const QString name = element.attribute("name");
    const QString left = element.attribute("left");
    const QString right = element.attribute("right");
    const QString dir = element.attribute("dir", QStringLiteral("down"));
    if (dir != QLatin1String("up") && dir != QLatin1String("down") && !dir.isEmpty()) {
        reportError(
            archive, element, QStringLiteral("Invalid direction '%1' for range '%2' .").arg(dir, name));
        return false;
    }
    if (name.isEmpty()) {
        reportError(archive, element, QStringLiteral("Range has no name!"));
        return false;
    }
    if (left.isEmpty() || right.isEmpty()) {
        reportError(archive, element, QStringLiteral("The range '%1' misses left or right value!").arg(name));
        return false;
    }
    QString comment;
    for (const HwXmlElementView& child : element.childElements()) {
        if (child.lowerTag() == QLatin1String("comment"))
            comment = readCommentFromCommentTag(child);
    }
    QString errorText;
    bool failed = false;
    archive->getVariableManager().evalExpressionAndAddRange(name, left, right,
        dir == QLatin1String("up") ? HwIntVar::Up : HwIntVar::Down, comment, errorText, failed);
    if (failed) {
        reportError(archive, element, QStringLiteral("In range '%1' declaration : %2").arg(name, errorText));
        return false;
    }
    return true;
}

// Each entry becomes a variable of the archive linked to the enum, so that expressions and the generators
// see it; an entry without value takes its position in the enum. A `bound` is a variable linked to the enum
// whose value is the number of entries declared before it (the enum's size when it comes last); it is no
// entry. The enum's values are also carried by an enum holder: a 32-bit register named after the enum, marked
// as holder, with one bitfield "enum" over bits 31:0 whose options are the entries. It is kept with the
// archive's elements, outside every structure, so that the generators can write the enum.
bool HwArchiveLoader::manageEnumTag(const HwXmlElementView& element, HwXMLArchive* archive)
{
    const QString name = element.attribute("name");
    HwEnum* e = archive->getVariableManager().addEnum(std::make_unique<HwEnum>(name));
    QString comment;
    for (const HwXmlElementView& child : element.childElements()) {
        const LowerTag tag = child.lowerTag();
        bool ok = true;
        if (tag == QLatin1String("entry"))
            ok = manageEnumEntryTag(child, e, archive);
        else if (tag == QLatin1String("bound"))
            ok = manageEnumBoundTag(child, e, archive);
        else if (tag == QLatin1String("comment"))
            comment = readCommentFromCommentTag(child);
        else {
            reportError(archive, child,
                QStringLiteral("Enum '%1' contains an unvalid '%2' tag.").arg(name, child.tagName()));
            ok = false;
        }
        if (!ok)
            return false;
    }
    if (!charge(archive, element, 2))
        return false;
    e->setComment(comment);
    auto holder = std::make_unique<HwRegister32>(name);
    holder->setEnumHolder(true);
    holder->setComment(comment);
    auto field = std::make_unique<HwBitField>(QStringLiteral("enum"), true, HwBitField::WRITE_NORMAL,
        QStringLiteral("31"), 31, QStringLiteral("0"), 0, 0, false, DISPLAY_DEC);
    for (const HwIntVar& variable : archive->getVariableManager()) {
        if (variable.getEnum() == e && e->getEntries().contains(variable.getName()))
            field->addOption(
                {variable.getName(), static_cast<std::uint32_t>(variable.getValue()), variable.getOrigin()});
    }
    holder->addBitField(std::move(field));
    archive->addElement(std::move(holder));
    return true;
}

bool HwArchiveLoader::declareEnumVariable(const HwXmlElementView& element, HwEnum* e, HwXMLArchive* archive,
    const QString& name, const QString& value)
{
    // Entries and bounds are variables of the archive linked to their enum; a comment child is kept as the
    // variable's origin text.
    QString comment;
    for (const HwXmlElementView& child : element.childElements()) {
        if (child.lowerTag() == QLatin1String("comment"))
            comment = readCommentFromCommentTag(child);
    }
    QString errorText;
    bool failed = false;
    archive->getVariableManager().evalExpressionAndAddVar(name, value, comment, e, errorText, failed);
    if (failed) {
        reportError(archive, element,
            QStringLiteral("Enum '%1', expression '%3' : %4\n").arg(e->getName(), value, errorText));
        return false;
    }
    return true;
}

bool HwArchiveLoader::manageEnumEntryTag(const HwXmlElementView& element, HwEnum* e, HwXMLArchive* archive)
{
    const QString name = element.attribute("name");
    if (name.isEmpty()) {
        reportError(archive, element, QStringLiteral("This entry has no name!"));
        return false;
    }
    if (!declareEnumVariable(
            element, e, archive, name, element.attribute("value", QString::number(e->getEntryCount()))))
        return false;
    e->addEntry(name);
    return true;
}

bool HwArchiveLoader::manageEnumBoundTag(const HwXmlElementView& element, HwEnum* e, HwXMLArchive* archive)
{
    const QString name = element.attribute("name");
    if (name.isEmpty()) {
        reportError(
            archive, element, QStringLiteral("A bound of the enum '%1' has no name!").arg(e->getName()));
        return false;
    }
    return declareEnumVariable(element, e, archive, name, QString::number(e->getEntryCount()));
}
