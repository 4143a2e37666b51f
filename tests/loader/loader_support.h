#ifndef VELLXML_TESTS_LOADER_LOADER_SUPPORT_H
#define VELLXML_TESTS_LOADER_LOADER_SUPPORT_H

#include <vellxml/loader/archive.h>
#include <vellxml/loader/memory_map.h>

#include <QDir>
#include <QFile>
#include <QString>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

inline void PrintTo(const QString& text, std::ostream* os)
{
    *os << '"' << text.toStdString() << '"';
}

namespace loadertest {

/// Messages received by the callbacks, by kind, in order.
struct Messages {
    std::vector<std::string> log;
    std::vector<std::string> error;
    std::vector<std::string> warning;
};

inline Messages& messages()
{
    static Messages instance;
    return instance;
}

inline void onLog(const char* text)
{
    messages().log.emplace_back(text);
}

inline void onError(const char* text)
{
    messages().error.emplace_back(text);
}

inline void onWarning(const char* text)
{
    messages().warning.emplace_back(text);
}

/// A directory of description files written by the test, and loads of them with captured messages.
class Fixture : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_dir.isValid());
        messages() = Messages();
    }

    /// Writes `text` to `name` (sub-directories created) and returns the full path.
    QString write(const QString& name, const QByteArray& text)
    {
        const QString path = m_dir.path() + QLatin1Char('/') + name;
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
        return path;
    }
    QString path(const QString& name) const { return m_dir.path() + QLatin1Char('/') + name; }
    /// "<dir>/<name>:<line>:<column>:<text>", the form of every positioned message.
    std::string at(const QString& name, int line, int column, const QString& text) const
    {
        return QStringLiteral("%1:%2:%3:%4")
            .arg(path(name), QString::number(line), QString::number(column), text)
            .toStdString();
    }

    /// Loads `name` as a chip; the memory map keeps the result.
    HwRootArchive* load(const QString& name)
    {
        return m_loader.loadRootArchiveFromFile(&m_map, path(name), onLog, onError, onWarning, true);
    }
    /// Writes a single archive file "a.xml" with `content` inside <archive> and loads it.
    HwRootArchive* loadArchive(const QByteArray& content)
    {
        write(QStringLiteral("a.xml"), "<archive>\n" + content + "\n</archive>\n");
        return load(QStringLiteral("a.xml"));
    }
    /// The one error a failed load must give, and no warning.
    void expectOnlyError(const std::string& text)
    {
        EXPECT_EQ(messages().error, std::vector<std::string> {text});
        EXPECT_TRUE(messages().warning.empty());
    }

    QTemporaryDir m_dir;
    HwMemoryMap m_map;
    HwMemoryMapLoader m_loader;
};

} // namespace loadertest

#endif
