#include <vellxml/loader/archive.h>
#include <vellxml/loader/memory_map.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/format_p.h>
#include <vellxml/model/valuable.h>
#include <vellxml/text_store_p.h>

#include <QDir>
#include <QFileInfo>
#include <QSet>

using vellxml::model_p::printDumpLine;

void HwTemplateManager::addTemplate(HwXMLElement* element, const QString& typeName)
{
    if (!m_templates.contains(typeName))
        m_order.append(typeName);
    m_templates.insert(typeName, element);
    if (m_archive) {
        if (HwRootArchive* root = m_archive->getParent() ? m_archive->getParent()->asRootArchive() : nullptr)
            root->noteTemplateAdded(m_archive, typeName);
    }
}

HwXMLArchive::HwXMLArchive(const QString& name)
    : HwXMLElement(name, TYPE_ARCHIVE)
    , m_variables(std::make_unique<HwVariableManager>(this))
    , m_templates(this)
{
}

HwXMLArchive::~HwXMLArchive() = default;

unsigned int HwXMLArchive::sizeOf() const
{
    return 0;
}

unsigned int HwXMLArchive::getAlignConstraint() const
{
    return 0;
}

QString HwXMLArchive::getRubyClassName() const
{
    return QString();
}

QString HwXMLArchive::getRubyPrefix() const
{
    return QString();
}

QString HwXMLArchive::getTypeString() const
{
    return QStringLiteral("archive");
}

void HwXMLArchive::memSet(const unsigned char*)
{
}

void HwXMLArchive::getReadMask(unsigned char*) const
{
}

void HwXMLArchive::memGet(unsigned char*) const
{
}

void HwXMLArchive::dumpInfo(int level) const
{
    dumpIndent(level);
    printDumpLine(getType(), getName());
    for (const auto& element : m_elements)
        element->dumpInfo(level + 1);
}

HwXMLElement* HwXMLArchive::addElement(std::unique_ptr<HwXMLElement> element)
{
    element->reparent(this);
    m_elements.push_back(std::move(element));
    return m_elements.back().get();
}

QString HwXMLArchive::getTotalPath() const
{
    return QDir::cleanPath(m_directory + QLatin1Char('/') + getName());
}

QString HwXMLArchive::getRelativePath(bool withName) const
{
    if (withName)
        return getName();
    const QString name = getName();
    const int slash = name.lastIndexOf(QLatin1Char('/'));
    return slash < 0 ? QString() : name.left(slash);
}

QString HwXMLArchive::getBaseName() const
{
    // Only the archive extension goes: "my.uart.xml" writes "my.uart.h", the header its includer names.
    QString name = QFileInfo(getName()).fileName();
    if (name.endsWith(QLatin1String(".xml"), Qt::CaseInsensitive)
        || name.endsWith(QLatin1String(".xmd"), Qt::CaseInsensitive))
        name.chop(4);
    return name;
}

namespace {

QString relativeFile(const QString& directory, const QString& file)
{
    return directory.isEmpty() ? file : directory + QLatin1Char('/') + file;
}

} // namespace

QString HwXMLArchive::getHFileRelativeName() const
{
    return relativeFile(getRelativePath(false), getBaseName() + QLatin1String(".h"));
}

QString HwXMLArchive::getASMFileRelativeName() const
{
    return relativeFile(getRelativePath(false), getBaseName() + QLatin1String("_asm.h"));
}

QString HwXMLArchive::getASMARMFileRelativeName() const
{
    return relativeFile(getRelativePath(false), getBaseName() + QLatin1String("_asm_arm.h"));
}

QString HwXMLArchive::getVHDLPkgName() const
{
    return m_vhdlPkg.isEmpty() ? getBaseName() + QLatin1String("_reg_pkg") : m_vhdlPkg;
}

QString HwXMLArchive::getVHDLFileRelativeName() const
{
    return relativeFile(getRelativePath(false), getVHDLPkgName() + QLatin1String(".vhd"));
}

HwXMLInclude* HwXMLArchive::addInclude(std::unique_ptr<HwXMLInclude> include)
{
    m_includes.push_back(std::move(include));
    return m_includes.back().get();
}

// The managers notice a new memory map (and its global variables) themselves.
void HwXMLArchive::reparent(HwXMLElement* parent)
{
    HwXMLElement::reparent(parent);
}

void HwXMLArchive::addIncludedArchive(HwXMLArchive* archive)
{
    // From now on the included archive's changes concern the managers that see it.
    archive->getVariableManager().markShared();
    m_includedArchives.push_back(archive);
    m_variables->noteSharedChange();
}

const HwIntVarTable* HwXMLArchive::getGlobalVariables() const
{
    const HwMemoryMap* map = getMemoryMap();
    return map ? &map->getGlobalVariables() : nullptr;
}

void HwXMLArchive::collectIncludedVariables(
    std::size_t first, std::unordered_set<const HwVariableScope*>& seen, std::vector<const HwIntVar*>& out) const
{
    for (std::size_t i = first; i < m_includedArchives.size(); ++i) {
        const HwXMLArchive* included = m_includedArchives[i];
        if (!seen.insert(included).second)
            continue;
        included->collectIncludedVariables(0, seen, out);
        for (const HwIntVar& variable : included->getVariableManager())
            out.push_back(&variable);
    }
}

HwMemoryMap* HwXMLArchive::getMemoryMap() const
{
    const HwRootArchive* root = getRootArchive();
    return root ? root->getMemoryMap() : nullptr;
}

namespace {

// Depth first over the include graph, each archive once (includes may form cycles).
void collectIncluded(
    const HwXMLArchive* archive, QSet<const HwXMLArchive*>& seen, std::vector<const HwIntVar*>& out)
{
    for (const HwXMLArchive* included : archive->getIncludedArchives()) {
        if (seen.contains(included))
            continue;
        seen.insert(included);
        collectIncluded(included, seen, out);
        for (const HwIntVar& variable : included->getVariableManager())
            out.push_back(&variable);
    }
}

} // namespace

std::vector<const HwIntVar*> HwXMLArchive::getAllIncludedVariables() const
{
    std::vector<const HwIntVar*> out;
    for (const HwIntVar& variable : *m_variables)
        out.push_back(&variable);
    QSet<const HwXMLArchive*> seen {this};
    collectIncluded(this, seen, out);
    return out;
}

std::vector<const HwIntVar*> HwXMLArchive::getVisibleVariables() const
{
    std::vector<const HwIntVar*> out;
    if (const HwIntVarTable* globals = getGlobalVariables()) {
        for (const HwIntVar& variable : *globals)
            out.push_back(&variable);
    }
    std::unordered_set<const HwVariableScope*> seen {this};
    collectIncludedVariables(0, seen, out);
    for (const HwIntVar& variable : *m_variables)
        out.push_back(&variable);
    return out;
}

std::vector<const HwVariableManager*> HwXMLArchive::getIncludedVariableManagers() const
{
    std::vector<const HwVariableManager*> out;
    for (const HwXMLArchive* included : m_includedArchives)
        out.push_back(&included->getVariableManager());
    return out;
}

HwRootArchive::HwRootArchive(const QString& name)
    : HwRootArchive(nullptr, name)
{
}

HwRootArchive::HwRootArchive(HwMemoryMap* memoryMap, const QString& name)
    : HwXMLElement(name, TYPE_ROOTARCHIVE)
    , m_memoryMap(memoryMap)
{
}

// Instances are copies that no archive refers to, so they go first; archives hold the types.
HwRootArchive::~HwRootArchive()
{
    m_instances.clear();
    m_elements.clear();
    m_archiveIndex.clear();
    m_typeIndex.clear();
    m_archives.clear();
    m_instancesByType.clear();
    m_instanceIndex.reset();
    // Last: the texts go once nothing of the chip refers to them.
    m_texts.reset();
}

vellxml::text_p::TextStore& HwRootArchive::textStore()
{
    if (!m_texts)
        m_texts = std::make_unique<vellxml::text_p::TextStore>();
    return *m_texts;
}

void HwRootArchive::reparent(HwXMLElement* parent)
{
    HwXMLElement::reparent(parent);
    noteVariablesChanged();
}

unsigned int HwRootArchive::sizeOf() const
{
    return 0;
}

unsigned int HwRootArchive::getAlignConstraint() const
{
    return 0;
}

QString HwRootArchive::getRubyClassName() const
{
    return QString();
}

QString HwRootArchive::getRubyPrefix() const
{
    return QString();
}

QString HwRootArchive::getTypeString() const
{
    return QStringLiteral("rootarchive");
}

void HwRootArchive::memSet(const unsigned char*)
{
}

void HwRootArchive::getReadMask(unsigned char*) const
{
}

void HwRootArchive::memGet(unsigned char*) const
{
}

void HwRootArchive::dumpInfo(int level) const
{
    dumpIndent(level);
    printDumpLine(getType(), getName());
    for (const auto& element : m_elements)
        element->dumpInfo(level + 1);
}

HwXMLElement* HwRootArchive::addElement(std::unique_ptr<HwXMLElement> element)
{
    element->reparent(this);
    m_elements.push_back(std::move(element));
    return m_elements.back().get();
}

std::vector<HwXMLElement*> HwRootArchive::getInstanciatedTemplates() const
{
    return m_instances;
}

HwXMLArchive* HwRootArchive::addXMLArchive(std::unique_ptr<HwXMLArchive> archive)
{
    archive->reparent(this);
    const QString key = archive->getDirectory() + QChar(0) + archive->getRelativePath(true);
    if (!m_archiveIndex.contains(key))
        m_archiveIndex.insert(key, archive.get());
    archive->m_loadPosition = m_archives.size();
    m_archives.push_back(std::move(archive));
    HwXMLArchive* added = m_archives.back().get();
    for (const QString& typeName : added->getTemplateManager().getTypeNames())
        noteTemplateAdded(added, typeName);
    return added;
}

void HwRootArchive::noteTemplateAdded(const HwXMLArchive* archive, const QString& typeName)
{
    // Only the archives of the load order are asked for types.
    const std::size_t position = archive->m_loadPosition;
    if (position >= m_archives.size() || m_archives[position].get() != archive)
        return;
    const auto it = m_typeIndex.find(typeName);
    if (it == m_typeIndex.end())
        m_typeIndex.insert(typeName, archive);
    else if (archive->m_loadPosition < it.value()->m_loadPosition)
        it.value() = archive;
}

HwXMLArchive* HwRootArchive::hasArchive(const QString& directory, const QString& name) const
{
    return m_archiveIndex.value(directory + QChar(0) + name, nullptr);
}

HwXMLElement* HwRootArchive::getTemplate(const QString& typeName) const
{
    const HwXMLArchive* first = m_typeIndex.value(typeName, nullptr);
    if (!first)
        return nullptr;
    if (HwXMLElement* element = first->contains(typeName))
        return element;
    // A name registered without an element: the archives after it may still define it.
    for (const auto& archive : m_archives) {
        if (HwXMLElement* element = archive->contains(typeName))
            return element;
    }
    return nullptr;
}

HwXMLElement* HwRootArchive::instanciateTemplate(
    const QString& typeName, const QString& name, std::uint32_t address)
{
    const HwXMLElement* type = getTemplate(typeName);
    if (!type)
        return nullptr;
    std::unique_ptr<HwXMLElement> instance = HwXMLElement::anonymousCopy(type);
    if (!instance)
        return nullptr;
    instance->setName(name);
    instance->remap(address);
    HwXMLElement* placed = addElement(std::move(instance));
    m_instances.push_back(placed);
    return placed;
}

std::unique_ptr<HwXMLElement> HwRootArchive::allocateElementFromTypeName(
    const QString& typeName, const QString& name)
{
    if (typeName == QLatin1String("void"))
        return std::make_unique<HwVoid>(name);
    if (typeName == QLatin1String("int8"))
        return std::make_unique<HwInt8>(name);
    if (typeName == QLatin1String("uint8"))
        return std::make_unique<HwUnsignedInt8>(name);
    if (typeName == QLatin1String("int16"))
        return std::make_unique<HwInt16>(name);
    if (typeName == QLatin1String("uint16"))
        return std::make_unique<HwUnsignedInt16>(name);
    if (typeName == QLatin1String("int32"))
        return std::make_unique<HwInt32>(name);
    if (typeName == QLatin1String("uint32"))
        return std::make_unique<HwUnsignedInt32>(name);
    if (typeName == QLatin1String("bool"))
        return std::make_unique<HwBoolean>(name);
    if (typeName == QLatin1String("memory"))
        return std::make_unique<HwMemory>(name, 0);
    const HwXMLElement* type = getTemplate(typeName);
    if (!type)
        return nullptr;
    std::unique_ptr<HwXMLElement> element = HwXMLElement::anonymousCopy(type);
    if (element) {
        element->setName(name);
        element->remap(0);
    }
    return element;
}

// Defined here rather than with the pointer class: only the root archive knows the registered types.
HwXMLElement* HwPointer::allocatePointedElement()
{
    if (m_pointedElement)
        return m_pointedElement.get();
    HwRootArchive* root = getRootArchive();
    if (!root)
        return nullptr;
    std::unique_ptr<HwXMLElement> element =
        root->allocateElementFromTypeName(m_pointedTypeName, QStringLiteral("*(%1)").arg(getName()));
    if (!element)
        return nullptr;
    return pointTo(std::move(element));
}
