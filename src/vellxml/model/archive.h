#ifndef VELLXML_MODEL_ARCHIVE_H
#define VELLXML_MODEL_ARCHIVE_H

#include <vellxml/model/element.h>
#include <vellxml/vellxml_export.h>

#include <QString>

#include <memory>
#include <vector>

// Archives are elements so that they can be the parents of what they declare: they have no size, no
// alignment, no memory image and no Ruby class. Files, includes, variables and types are the loader's.

/// One archive file of a chip description, with the elements its top-level tags declare.
class VELLXML_EXPORT HwXMLArchive : public HwXMLElement {
public:
    explicit HwXMLArchive(const QString& name);
    ~HwXMLArchive() override;

    unsigned int sizeOf() const override;
    unsigned int getAlignConstraint() const override;
    QString getRubyClassName() const override;
    QString getRubyPrefix() const override;
    QString getTypeString() const override;
    void memSet(const unsigned char* image) override;
    void getReadMask(unsigned char* mask) const override;
    void memGet(unsigned char* image) const override;
    void dumpInfo(int level) const override;

    /// Adopts the element (re-parented here) and appends it. Returns it.
    HwXMLElement* addElement(std::unique_ptr<HwXMLElement> element);
    const std::vector<std::unique_ptr<HwXMLElement>>& getElements() const { return m_elements; }

private:
    std::vector<std::unique_ptr<HwXMLElement>> m_elements;
};

/// The top of a loaded chip: the parent of the instances placed at absolute addresses.
class VELLXML_EXPORT HwRootArchive : public HwXMLElement {
public:
    explicit HwRootArchive(const QString& name);
    ~HwRootArchive() override;

    unsigned int sizeOf() const override;
    unsigned int getAlignConstraint() const override;
    QString getRubyClassName() const override;
    QString getRubyPrefix() const override;
    QString getTypeString() const override;
    void memSet(const unsigned char* image) override;
    void getReadMask(unsigned char* mask) const override;
    void memGet(unsigned char* image) const override;
    void dumpInfo(int level) const override;

    /// Adopts the element (re-parented here) and appends it. Returns it.
    HwXMLElement* addElement(std::unique_ptr<HwXMLElement> element);
    const std::vector<std::unique_ptr<HwXMLElement>>& getElements() const { return m_elements; }

    /// A new, unattached element of a basic type ("void", "int8" ... "uint32", "bool") with the given name;
    /// null for any other type name. Registered types are made by the loader's type registry.
    std::unique_ptr<HwXMLElement> allocateElementFromTypeName(const QString& typeName, const QString& name);

private:
    std::vector<std::unique_ptr<HwXMLElement>> m_elements;
};

#endif
