#ifndef VELLXML_TEXT_STORE_P_H
#define VELLXML_TEXT_STORE_P_H

#include <QString>
#include <QStringView>

#include <cstddef>
#include <vector>

namespace vellxml::text_p {

struct TextBlock;

/// Keeps the texts of one loaded chip (element names, comments) in large blocks instead of one heap block
/// per text, so that deleting the chip gives back a few blocks instead of hundreds of thousands.
///
/// A kept text is an ordinary, implicitly shared QString: copies share it, changing a copy detaches it as
/// usual. The store holds one reference of its own on every text it made, so Qt never frees one (its count
/// never reaches zero) and a holder never sees itself as the only owner (it always copies before writing).
///
/// When the store is deleted, a block whose texts nobody else refers to any more is freed at once. A block
/// of which some text is still held - a name kept by the caller after its chip was deleted - stays valid:
/// it is set aside, and freed by the deletion of a later store once those texts are let go.
///
/// One thread makes texts at a time (a load); the texts themselves go to any thread as QStrings do.
class TextStore {
public:
    TextStore() = default;
    TextStore(const TextStore&) = delete;
    TextStore& operator=(const TextStore&) = delete;
    ~TextStore();

    /// A shared copy of the text. An empty text is not stored: it is null or empty as the given one.
    QString keep(QStringView text);
    /// The same from UTF-8 (malformed sequences become replacement characters, as QString::fromUtf8).
    QString keepUtf8(const char* text, std::size_t length);

    /// Bytes of blocks set aside by deleted stores because some of their texts were still in use. Frees
    /// those whose texts are all released since.
    static std::size_t releaseSetAside();

private:
    /// Room for one text of `length` UTF-16 units; its characters are to be written after the call.
    char16_t* allocate(std::size_t length, QString& out);

    std::vector<TextBlock*> m_blocks;
    std::size_t m_blockBytes = 0; ///< of all blocks taken
    TextBlock* m_open = nullptr; ///< the block being filled; texts of their own have theirs
};

} // namespace vellxml::text_p

#endif
