// The demo chip loaded with one fault injected at every point where the loader can meet one: the Nth file
// read fails, for every N, and the Nth element allocation fails, for every N. Each such load must report
// its error, return nothing and leave nothing behind; the sanitizer configuration's LeakSanitizer checks
// that every partial model was freed.
#include "loader_support.h"

#include <vellxml/loader/load_seams_p.h>

#include <algorithm>

using loadertest::messages;
using vellxml::loader_p::FileRead;
using vellxml::loader_p::FileSource;

namespace {

#ifdef VELLXML_DEMO_DIR

/// The file system, except that the Nth read fails after the file was opened.
class FailingReads final : public FileSource {
public:
    explicit FailingReads(int failing)
        : m_failing(failing)
    {
    }
    FileRead read(const QString& path, std::int64_t maxBytes, QByteArray& bytes) override
    {
        if (++m_reads == m_failing) {
            m_failedPath = path;
            return FileRead::Failed;
        }
        return vellxml::loader_p::fileSystemSource().read(path, maxBytes, bytes);
    }
    int reads() const { return m_reads; }
    const QString& failedPath() const { return m_failedPath; }

private:
    int m_failing;
    int m_reads = 0;
    QString m_failedPath;
};

class FaultInjectionTest : public ::testing::Test {
protected:
    void SetUp() override { messages() = loadertest::Messages(); }
    void TearDown() override
    {
        vellxml::loader_p::setFileSource(nullptr);
        vellxml::loader_p::failElementAllocation(0);
    }

    HwRootArchive* loadDemo()
    {
        messages() = loadertest::Messages();
        return m_loader.loadRootArchiveFromFile(&m_map, QStringLiteral(VELLXML_DEMO_DIR "/chip.xml"),
            loadertest::onLog, loadertest::onError, loadertest::onWarning, true);
    }
    /// A failed load leaves the memory map as it found it.
    void expectNothingLeft(HwRootArchive* root)
    {
        EXPECT_EQ(root, nullptr);
        EXPECT_EQ(m_map.getChipRootArchive(), nullptr);
        EXPECT_EQ(m_map.getGlobalVariables().count(), 0);
    }

    HwMemoryMap m_map;
    HwMemoryMapLoader m_loader;
};

TEST_F(FaultInjectionTest, EveryFileReadFailureFailsTheLoad)
{
    int n = 1;
    for (;; ++n) {
        SCOPED_TRACE(n);
        FailingReads source(n);
        vellxml::loader_p::setFileSource(&source);
        HwRootArchive* root = loadDemo();
        vellxml::loader_p::setFileSource(nullptr);
        if (source.reads() < n) {
            // The Nth read never came: every file was read, and the load is whole.
            ASSERT_NE(root, nullptr);
            EXPECT_TRUE(messages().error.empty());
            break;
        }
        expectNothingLeft(root);
        EXPECT_EQ(messages().error,
            std::vector<std::string> {
                source.failedPath().toStdString() + ":0:0:The file could not be read."});
    }
    // Every file of the chip was read once, and each read was made to fail once.
    const auto loading = std::count_if(messages().log.begin(), messages().log.end(),
        [](const std::string& line) { return line.rfind("Loading ", 0) == 0; });
    EXPECT_EQ(n - 1, loading);
    EXPECT_GE(n - 1, 10);
}

TEST_F(FaultInjectionTest, EveryElementAllocationFailureFailsTheLoad)
{
    std::int64_t n = 1;
    for (;; ++n) {
        SCOPED_TRACE(n);
        vellxml::loader_p::failElementAllocation(n);
        HwRootArchive* root = loadDemo();
        if (vellxml::loader_p::elementAllocations() < n) {
            ASSERT_NE(root, nullptr);
            EXPECT_TRUE(messages().error.empty());
            break;
        }
        expectNothingLeft(root);
        ASSERT_EQ(messages().error.size(), 1u);
        const std::string& error = messages().error.front();
        EXPECT_EQ(error.substr(error.size() - std::string(":Element allocation failed.").size()),
            ":Element allocation failed.")
            << error;
    }
    // The demo chip builds its archives, types and instances through a few hundred allocations.
    EXPECT_GT(n, 100);
}

#endif

} // namespace
