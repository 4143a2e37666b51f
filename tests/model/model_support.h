#ifndef VELLXML_TESTS_MODEL_MODEL_SUPPORT_H
#define VELLXML_TESTS_MODEL_MODEL_SUPPORT_H

#include <vellxml/model/element.h>

#include <QString>
#include <QStringList>

#include <cstring>
#include <ostream>

// Readable failure messages for Qt text.
inline void PrintTo(const QString& text, std::ostream* os)
{
    *os << '"' << text.toStdString() << '"';
}

inline void PrintTo(const QStringList& list, std::ostream* os)
{
    *os << '[' << list.join(QStringLiteral(", ")).toStdString() << ']';
}

/// An element of any size and alignment, for layout rules no model class exercises (an alignment of 8).
/// Its kind number is none of the model's, so it cannot be copied.
class FixedElement : public HwXMLElement {
public:
    FixedElement(const QString& name, unsigned int size, unsigned int alignment)
        : HwXMLElement(name, static_cast<XMLElementType>(99))
        , m_size(size)
        , m_alignment(alignment)
    {
    }
    unsigned int sizeOf() const override { return m_size; }
    unsigned int getAlignConstraint() const override { return m_alignment; }
    QString getTypeString() const override { return QStringLiteral("fixed"); }
    void memSet(const unsigned char*) override { }
    void getReadMask(unsigned char* mask) const override { std::memset(mask, 0xAA, m_size); }
    void memGet(unsigned char* image) const override { std::memset(image, 0x5A, m_size); }

private:
    unsigned int m_size;
    unsigned int m_alignment;
};

#endif
