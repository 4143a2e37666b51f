#include "loader_support.h"

#include <vellxml/model/composites.h>

using loadertest::messages;

namespace {

#ifdef VELLXML_DEMO_DIR

// The demo chip, with its encrypted archive, loads with nothing said but the log lines.
TEST(DemoChipTest, LoadsWithoutMessages)
{
    messages() = loadertest::Messages();
    HwMemoryMap map;
    HwMemoryMapLoader loader;
    const QString dir = QStringLiteral(VELLXML_DEMO_DIR);
    HwRootArchive* root = loader.loadRootArchiveFromFile(&map, dir + QStringLiteral("/chip.xml"),
        loadertest::onLog, loadertest::onError, loadertest::onWarning, true);
    EXPECT_EQ(messages().error, std::vector<std::string> {});
    EXPECT_EQ(messages().warning, std::vector<std::string> {});
    ASSERT_NE(root, nullptr);
    ASSERT_FALSE(messages().log.empty());
    EXPECT_EQ(messages().log.back(), "Chip chip loaded.");
    for (std::size_t i = 0; i + 1 < messages().log.size(); ++i)
        EXPECT_EQ(messages().log[i].rfind("Loading " + dir.toStdString() + "/", 0), 0u) << messages().log[i];
    bool encryptedRead = false;
    for (const std::string& line : messages().log)
        encryptedRead = encryptedRead || line == "Loading " + dir.toStdString() + "/intc.xmd...";
    EXPECT_TRUE(encryptedRead);

    QStringList instances;
    for (const HwXMLElement* instance : root->getInstanciatedTemplates())
        instances.append(instance->getName() + QLatin1Char('@') + instance->getAddressString());
    instances.sort();
    EXPECT_TRUE(instances.contains(QStringLiteral("INTC@0x40024000")))
        << instances.join(QLatin1Char(' ')).toStdString();
    EXPECT_TRUE(instances.contains(QStringLiteral("UART0@0x40004400")))
        << instances.join(QLatin1Char(' ')).toStdString();
}

#endif

} // namespace
