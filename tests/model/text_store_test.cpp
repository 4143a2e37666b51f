// The chip's text store over random texts: every kept text reads back as the UTF-8 it came from, changing
// any copy never changes another (Qt must copy before writing), copies outlive their store, and the blocks
// they held are freed once they are let go.
#include <vellxml/text_store_p.h>

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <random>
#include <vector>

namespace {

using vellxml::text_p::TextStore;

QByteArray randomUtf8(std::mt19937& random)
{
    static const char* const pieces[] = {"a", "Z", "_", "0", " ", "\xC3\xA9", "\xE2\x82\xAC",
        "\xF0\x9F\x98\x80", "\xFF", "\xC3", "<br>", "&amp;"};
    // Mostly names and comments; now and then one larger than a quarter of a block.
    const std::size_t length = random() % 50 == 0 ? 9000 + random() % 40000 : random() % 60;
    QByteArray out;
    while (static_cast<std::size_t>(out.size()) < length)
        out += pieces[random() % (random() % 4 == 0 ? std::size(pieces) : 4)];
    return out;
}

// One way to change a copy; each must leave the store's text and every other copy as they were.
void change(QString& text, unsigned how)
{
    switch (how % 10) {
    case 0:
        text.append(QLatin1Char('!'));
        break;
    case 1:
        if (!text.isEmpty())
            text[0] = QLatin1Char('#');
        break;
    case 2:
        text.resize(text.size() / 2);
        break;
    case 3:
        text.reserve(text.size() + 100);
        text.squeeze();
        text.prepend(QLatin1Char('^'));
        break;
    case 4:
        text.replace(QLatin1Char('a'), QLatin1Char('b'));
        if (!text.isEmpty())
            text.data()[0] = QLatin1Char('%'); // data() hands out writable characters
        break;
    case 5:
        text.clear();
        break;
    case 7:
        text.chop(1);
        text.insert(0, QLatin1String("<<"));
        break;
    case 8:
        text.remove(0, 2);
        text.fill(QLatin1Char('f'));
        break;
    case 9:
        text = std::move(text).toLower(); // may reuse the data when it is its own
        break;
    default:
        text = text.toUpper();
        break;
    }
}

TEST(TextStoreTest, KeptTextsBehaveAsOwnCopiesAndOutliveTheirStore)
{
    const std::size_t setAsideBefore = TextStore::releaseSetAside();
    std::mt19937 random(7);
    // The last rounds first fill a large chip's worth of blocks, so that their texts are in the blocks a
    // large store takes.
    for (int round = 0; round < 22; ++round) {
        QStringList expected;
        QStringList survivors;
        QStringList survivorsExpected;
        {
            auto store = std::make_unique<TextStore>();
            for (int i = 0; round >= 20 && i < 250000; ++i)
                store->keep(QStringLiteral("filler text %1").arg(i));
            QStringList kept;
            for (int i = 0; i < 400; ++i) {
                const QByteArray utf8 = randomUtf8(random);
                const QString plain = QString::fromUtf8(utf8);
                const QString text = i % 2
                    ? store->keepUtf8(utf8.constData(), static_cast<std::size_t>(utf8.size()))
                    : store->keep(plain);
                ASSERT_EQ(text, plain) << "from " << utf8.toHex().constData();
                // An empty text stays null or empty as it was given.
                const QString converted = QString::fromUtf8(utf8.constData(), utf8.size());
                ASSERT_EQ(text.isNull(), i % 2 ? converted.isNull() : plain.isNull());
                kept << text;
                expected << plain;
            }
            // Changing copies, on texts still held by the store and by other copies.
            for (int i = 0; i < kept.size(); ++i) {
                QString copy = kept[i];
                QString second = copy;
                change(copy, random());
                change(second, random());
                ASSERT_EQ(kept[i], expected[i]);
            }
            for (int i = 0; i < kept.size(); ++i) {
                if (random() % 10 == 0) {
                    survivors << kept[i];
                    survivorsExpected << expected[i];
                }
            }
            const bool anySurvivor = std::any_of(
                survivors.begin(), survivors.end(), [](const QString& text) { return !text.isEmpty(); });
            store.reset();
            kept.clear();
            if (anySurvivor) {
                EXPECT_GT(TextStore::releaseSetAside(), setAsideBefore);
            }
        }
        // The store is gone: what the caller kept still reads as it was, and still changes as its own.
        ASSERT_EQ(survivors, survivorsExpected);
        for (QString& text : survivors)
            change(text, random());
        survivors.clear();
        EXPECT_EQ(TextStore::releaseSetAside(), setAsideBefore)
            << "blocks stay after their texts were let go";
    }
}

} // namespace
