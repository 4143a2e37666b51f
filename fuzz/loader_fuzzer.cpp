// The whole loader on a set of archive files served from one input. The input is a root file and the
// files it may include, each record opened by a line "@@ <name>" (or "@@! <name>"); without such a first
// line the whole input is the root file "chip.xml". A name ending in ".xmd" is encrypted before it is
// served unless its line says "@@!", which serves the bytes as they are. The first record is the root.
//
// The oracle: either a complete model and no error message, or no model and at least one error message.
#include "fuzz_support.h"

#include <vellxml/loader/archive.h>
#include <vellxml/loader/memory_map.h>
#include <vellxml/model/bitfield.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/valuable.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace {

using vellxml::fuzz::messageCount;
using vellxml::fuzz::require;

const QString g_directory = QStringLiteral("/vellxml-fuzz");
constexpr int g_maxFiles = 32;
// Instances larger than this are not imaged: a memory tag may declare gigabytes.
constexpr unsigned int g_maxImage = 1 << 16;

struct Record {
    QString name;
    QByteArray bytes;
    bool raw = false;
};

QList<Record> splitRecords(const QByteArray& input)
{
    QList<Record> records;
    if (!input.startsWith("@@")) {
        records.append({QStringLiteral("chip.xml"), input, false});
        return records;
    }
    qsizetype at = 0;
    while (at < input.size() && records.size() < g_maxFiles) {
        qsizetype lineEnd = input.indexOf('\n', at);
        if (lineEnd < 0)
            lineEnd = input.size();
        QByteArray header = input.mid(at + 2, lineEnd - at - 2);
        Record record;
        record.raw = header.startsWith('!');
        if (record.raw)
            header.remove(0, 1);
        record.name = QString::fromUtf8(header.trimmed());
        qsizetype next = input.indexOf("\n@@", lineEnd);
        const qsizetype contentStart = lineEnd < input.size() ? lineEnd + 1 : lineEnd;
        const qsizetype contentEnd = next < 0 ? input.size() : next + 1;
        record.bytes = input.mid(contentStart, contentEnd - contentStart);
        records.append(record);
        at = next < 0 ? input.size() : next + 1;
    }
    return records;
}

// Every node hangs under the node that owns it, and the questions any user of the model asks of it have
// answers.
void checkElement(const HwXMLElement* element, const HwXMLElement* parent)
{
    require(element != nullptr, "null element in the model");
    require(element->getParent() == parent, "element with a wrong parent");
    // The format lets an alias go without a name, and its type string is its name: no emptiness check.
    element->getTypeString();
    element->getPath();
    element->getAddressString();
    element->sizeOf();
    element->getAlignConstraint();
    if (element->isStruct()) {
        for (const auto& member : static_cast<const HwStruct*>(element)->getMemberList())
            checkElement(member.get(), element);
    } else if (element->isArray()) {
        const auto* array = static_cast<const HwArray*>(element);
        for (const auto& item : array->getMemberList())
            checkElement(item.get(), element);
    } else if (element->isValuable()) {
        for (const auto& field : static_cast<const HwValuable*>(element)->getBitFields()) {
            require(field != nullptr, "null bitfield");
            field->getPath();
        }
    }
}

void checkModel(const HwRootArchive* root)
{
    require(!root->getArchives().empty(), "model without archives");
    for (const auto& archive : root->getArchives()) {
        require(archive->getParent() == root, "archive not under the root archive");
        require(!archive->getTotalPath().isEmpty(), "archive without a path");
        for (const HwXMLArchive* included : archive->getIncludedArchives())
            require(included != nullptr && included->getRootArchive() == root,
                "included archive outside the tree");
        for (const auto& element : archive->getElements())
            checkElement(element.get(), archive.get());
    }
    for (const auto& element : root->getElements())
        checkElement(element.get(), root);
    for (HwXMLElement* instance : root->getInstanciatedTemplates()) {
        require(instance != nullptr && instance->getParent() == root, "instance not under the root archive");
        // A copy is the same element again; a memory image written from the cached values reads back
        // to the same image.
        const std::unique_ptr<HwXMLElement> copy = HwXMLElement::anonymousCopy(instance);
        require(copy && copy->sizeOf() == instance->sizeOf()
                && copy->getTypeString() == instance->getTypeString(),
            "a copy of an instance differs from it");
        const unsigned int size = instance->sizeOf();
        if (size > g_maxImage)
            continue;
        std::vector<unsigned char> mask(size), image(size), again(size);
        instance->getReadMask(mask.data());
        instance->memGet(image.data());
        instance->memSet(image.data());
        instance->memGet(again.data());
        require(image == again, "memory image does not read back");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QList<Record> records =
        splitRecords(QByteArray(reinterpret_cast<const char*>(data), static_cast<int>(size)));
    // File names come from the caller or from attributes, which cannot hold a NUL; Qt would only warn about
    // one on standard error.
    if (records.isEmpty() || records.first().name.isEmpty() || records.first().name.contains(QChar(0)))
        return 0;
    vellxml::fuzz::MemoryFileSource source;
    for (const Record& record : records) {
        const bool encrypt = !record.raw && record.name.endsWith(QLatin1String(".xmd"));
        source.add(g_directory + QLatin1Char('/') + record.name,
            encrypt
                ? vellxml::fuzz::encryptArchive(record.bytes, static_cast<std::uint32_t>(record.bytes.size()))
                : record.bytes);
    }
    vellxml::fuzz::ServedFiles served(source);

    messageCount() = vellxml::fuzz::MessageCount();
    HwMemoryMap map;
    HwMemoryMapLoader loader;
    // Tighter than the defaults, so that a short input cannot make the run slow for the fuzzer.
    loader.limits().maxElements = 100000;
    loader.limits().maxFileSize = 1 << 20;
    HwRootArchive* root =
        loader.loadRootArchiveFromFile(&map, g_directory + QLatin1Char('/') + records.first().name,
            vellxml::fuzz::countLog, vellxml::fuzz::countError, vellxml::fuzz::countWarning, true);
    if (root) {
        require(messageCount().error == 0, "model returned with an error message");
        require(map.getChipRootArchive() == root, "the memory map does not hold the returned model");
        checkModel(root);
    } else {
        require(messageCount().error >= 1, "no model and no error message");
        require(map.getChipRootArchive() == nullptr, "failed load left a model in the memory map");
        require(map.getGlobalVariables().count() == 0, "failed load left global variables behind");
    }
    return 0;
}
