#include "loader_support.h"

#include <vellxml/model/composites.h>

using loadertest::messages;

namespace {

using Strings = std::vector<std::string>;

class ArchiveLoaderTest : public loadertest::Fixture {
protected:
    std::string loading(const QString& name) const { return "Loading " + path(name).toStdString() + "..."; }
    const HwXMLArchive* archive(const HwRootArchive* root, int index) const
    {
        return root->getArchives().at(static_cast<std::size_t>(index)).get();
    }
};

TEST_F(ArchiveLoaderTest, RootFileLoadsIntoTheMemoryMap)
{
    write(QStringLiteral("chip.v2.xml"),
        "<ARCHIVE asm=\"no\" vhdlpkg=\"pkg\">\n"
        "  <module name=\"uart\" ckeywords=\" const  far \"><reg32 name=\"ctrl\"/></module>\n"
        "  <typedef name=\"pair\" category=\"Misc\"><uint8 name=\"a\"/></typedef>\n"
        "  <instance name=\"UART0\" type=\"uart\" address=\"0x40001000\"/>\n"
        "</ARCHIVE>");
    HwRootArchive* root = load(QStringLiteral("chip.v2.xml"));
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(m_map.getChipRootArchive(), root);
    EXPECT_EQ(root->getName(), QStringLiteral("chip"));
    EXPECT_EQ(messages().log, (Strings {loading(QStringLiteral("chip.v2.xml")), "Chip chip loaded."}));
    EXPECT_TRUE(messages().error.empty());
    EXPECT_TRUE(messages().warning.empty());

    ASSERT_EQ(root->getArchives().size(), 1u);
    const HwXMLArchive* file = archive(root, 0);
    EXPECT_EQ(file->getName(), QStringLiteral("chip.v2.xml"));
    EXPECT_EQ(file->getTotalPath(), path(QStringLiteral("chip.v2.xml")));
    EXPECT_FALSE(file->getGenerateAsm());
    EXPECT_TRUE(file->getGenerateHeader());
    // Only the archive extension leaves the name: the header is the one an include of this file names.
    EXPECT_EQ(file->getBaseName(), QStringLiteral("chip.v2"));
    EXPECT_EQ(file->getHFileRelativeName(), QStringLiteral("chip.v2.h"));
    EXPECT_EQ(file->getVHDLPkgName(), QStringLiteral("pkg"));
    EXPECT_EQ(file->getVHDLFileRelativeName(), QStringLiteral("pkg.vhd"));

    const auto* uart = static_cast<const HwStruct*>(file->contains(QStringLiteral("uart")));
    ASSERT_NE(uart, nullptr);
    EXPECT_FALSE(uart->isTypedef());
    EXPECT_TRUE(uart->isRootStruct());
    EXPECT_EQ(uart->getCategory(), QStringLiteral("Unclassified"));
    EXPECT_EQ(uart->getCKeywords(), (QStringList {"volatile", "const", "far"}));
    const auto* pair = static_cast<const HwStruct*>(root->getTemplate(QStringLiteral("pair")));
    ASSERT_NE(pair, nullptr);
    EXPECT_TRUE(pair->isTypedef());
    EXPECT_FALSE(pair->isRootStruct());
    EXPECT_EQ(pair->getCategory(), QStringLiteral("Misc"));
    EXPECT_TRUE(pair->getCKeywords().isEmpty());

    const std::vector<HwXMLElement*> instances = root->getInstanciatedTemplates();
    ASSERT_EQ(instances.size(), 1u);
    EXPECT_EQ(instances[0]->getPath(), QStringLiteral("$UART0"));
    EXPECT_EQ(instances[0]->getBaseAddress(), 0x40001000u);
    EXPECT_EQ(instances[0]->getParent(), root);
    EXPECT_TRUE(static_cast<const HwStruct*>(instances[0])->isRootStruct());

    // A second load of the same kind replaces (and deletes) the first root.
    messages() = loadertest::Messages();
    write(QStringLiteral("other.xml"), "<archive/>");
    HwRootArchive* other = load(QStringLiteral("other.xml"));
    ASSERT_NE(other, nullptr);
    EXPECT_EQ(m_map.getChipRootArchive(), other);
    EXPECT_EQ(m_map.getSoftRootArchive(), nullptr);
}

TEST_F(ArchiveLoaderTest, EmptyPathsAndSoftDescriptions)
{
    EXPECT_EQ(m_loader.loadRootArchiveFromFile(
                  &m_map, QString(), loadertest::onLog, loadertest::onError, loadertest::onWarning, true),
        nullptr);
    EXPECT_EQ(m_loader.loadRootArchiveFromFile(
                  &m_map, QString(), loadertest::onLog, loadertest::onError, loadertest::onWarning, false),
        nullptr);
    write(QStringLiteral("soft.xml"), "<archive/>");
    HwRootArchive* soft = m_loader.loadRootArchiveFromFile(&m_map, path(QStringLiteral("soft.xml")),
        loadertest::onLog, loadertest::onError, loadertest::onWarning, false);
    EXPECT_EQ(m_map.getSoftRootArchive(), soft);
    EXPECT_EQ(messages().log,
        (Strings {"No XML Chip to Load.", "No XML Soft to Load.", loading(QStringLiteral("soft.xml")),
            "Soft soft loaded."}));
    // Null callbacks are silent.
    EXPECT_EQ(m_loader.loadRootArchiveFromFile(
                  &m_map, path(QStringLiteral("none.xml")), nullptr, nullptr, nullptr, true),
        nullptr);
    // The root file is required: a missing one is an error, so that a caller that listens to errors only
    // learns why the load failed.
    messages() = loadertest::Messages();
    EXPECT_EQ(load(QStringLiteral("none.xml")), nullptr);
    EXPECT_EQ(messages().error, Strings {"Unable to open file " + path(QStringLiteral("none.xml")).toStdString()});
    EXPECT_TRUE(messages().warning.empty());
}

TEST_F(ArchiveLoaderTest, RootTagsAndBigArchives)
{
    struct Case {
        const char* content;
        const char* error;
        int line;
        int column;
    };
    const Case failures[] = {
        {"<chip/>", "Old archive format! Please edit your xml files to conform to the new norm.", 0, 0},
        {"<Soft/>", "Old archive format! Please edit your xml files to conform to the new norm.", 0, 0},
        {"<description/>", "Bad archive format!", 0, 0},
        {"<bigarchive>\n  <archive/>\n  <module name=\"m\"/>\n</bigarchive>", "Unvalid '%2' tag.\n", 3, 3},
        {"<archive>\n\n    <bogus/>\n</archive>", "Unvalid tag : 'bogus'", 3, 5},
    };
    for (const Case& c : failures) {
        SCOPED_TRACE(c.content);
        messages() = loadertest::Messages();
        write(QStringLiteral("r.xml"), c.content);
        EXPECT_EQ(load(QStringLiteral("r.xml")), nullptr);
        QString text = QString::fromUtf8(c.error);
        text.replace(QStringLiteral("%2"), QStringLiteral("module"));
        expectOnlyError(at(QStringLiteral("r.xml"), c.line, c.column, text));
    }

    messages() = loadertest::Messages();
    write(QStringLiteral("big.xml"),
        "<bigarchive>\n <archive relative=\"one.xml\"><var name=\"A\" value=\"1\"/></archive>\n"
        " <archive relative=\"two.xml\"><module name=\"m\"/></archive>\n</bigarchive>");
    HwRootArchive* root = load(QStringLiteral("big.xml"));
    ASSERT_NE(root, nullptr);
    ASSERT_EQ(root->getArchives().size(), 2u);
    EXPECT_EQ(archive(root, 0)->getName(), QStringLiteral("one.xml"));
    EXPECT_EQ(archive(root, 1)->getName(), QStringLiteral("two.xml"));

    // No archive inside: the file itself reads without a complaint, but a root without an archive is no
    // model, and a load that returns nothing must say why.
    messages() = loadertest::Messages();
    write(QStringLiteral("empty.xml"), "<bigarchive/>");
    EXPECT_EQ(load(QStringLiteral("empty.xml")), nullptr);
    expectOnlyError("No archive in " + path(QStringLiteral("empty.xml")).toStdString() + ".");
    // Included, it adds nothing and the load goes on.
    messages() = loadertest::Messages();
    write(QStringLiteral("includes-empty.xml"), "<archive><include file=\"empty.xml\"/></archive>");
    EXPECT_NE(load(QStringLiteral("includes-empty.xml")), nullptr);
    EXPECT_TRUE(messages().error.empty());

    // The old single-module format still loads, with a warning.
    messages() = loadertest::Messages();
    write(QStringLiteral("old.xml"), "<module name=\"legacy\"><reg8 name=\"r\"/></module>");
    root = load(QStringLiteral("old.xml"));
    ASSERT_NE(root, nullptr);
    EXPECT_NE(root->getTemplate(QStringLiteral("legacy")), nullptr);
    EXPECT_EQ(messages().warning,
        Strings {at(QStringLiteral("old.xml"), 0, 0,
            QStringLiteral(
                "You are using an old archive format! Please enclose the content of your file into an "
                "<archive> tag!"))});
}

TEST_F(ArchiveLoaderTest, IncludesAreReadOnceAndRecordHeaders)
{
    write(QStringLiteral("sub/b.xml"),
        "<archive><include file=\"c.xmd\" load=\"no\"/><var name=\"B\" value=\"2\"/></archive>");
    write(QStringLiteral("a.xml"),
        "<archive>\n"
        "<include file=\"sub/b.xml\"><comment>the b file</comment></include>\n"
        "<include file=\"sub/b.xml\"/>\n"
        "<include file=\"a.xml\"/>\n"
        "<include file=\"opt.xml\" optional=\"yes\"/>\n"
        "<var name=\"A\" value=\"B + 1\"/>\n"
        "</archive>");
    HwRootArchive* root = load(QStringLiteral("a.xml"));
    ASSERT_NE(root, nullptr);
    EXPECT_TRUE(messages().error.empty());
    EXPECT_TRUE(messages().warning.empty());
    EXPECT_EQ(messages().log,
        (Strings {loading(QStringLiteral("a.xml")), loading(QStringLiteral("sub/b.xml")), "Chip a loaded."}));
    ASSERT_EQ(root->getArchives().size(), 2u);
    const HwXMLArchive* a = archive(root, 0);
    const HwXMLArchive* b = archive(root, 1);
    EXPECT_EQ(b->getName(), QStringLiteral("sub/b.xml"));
    EXPECT_EQ(b->getRelativePath(false), QStringLiteral("sub"));
    EXPECT_EQ(b->getHFileRelativeName(), QStringLiteral("sub/b.h"));
    EXPECT_EQ(b->getASMFileRelativeName(), QStringLiteral("sub/b_asm.h"));
    EXPECT_EQ(b->getASMARMFileRelativeName(), QStringLiteral("sub/b_asm_arm.h"));
    EXPECT_EQ(b->getVHDLFileRelativeName(), QStringLiteral("sub/b_reg_pkg.vhd"));
    EXPECT_EQ(b->getIncludedHeaders(), QStringList {"sub/c.h"});
    EXPECT_EQ(b->getIncludes()[0]->getHeaderName(), QStringLiteral("c.h"));
    EXPECT_EQ(a->getIncludedHeaders(), (QStringList {"sub/b.h", "sub/b.h", "a.h", "opt.h"}));
    // The archive already loaded is appended again (the cycle too); the optional missing one is not.
    EXPECT_EQ(a->getIncludedArchives(),
        (std::vector<HwXMLArchive*> {
            root->getArchives()[1].get(), root->getArchives()[1].get(), root->getArchives()[0].get()}));
    ASSERT_EQ(a->getIncludes().size(), 4u);
    EXPECT_EQ(a->getIncludes()[0]->getComment(), QStringLiteral("the b file"));
    // By its path from the including header.
    EXPECT_EQ(a->getIncludes()[0]->getHeaderName(), QStringLiteral("sub/b.h"));
    // Expressions see the variables of included archives.
    const HwIntVar* variable = a->getVariableManager().find(QStringLiteral("A"));
    ASSERT_NE(variable, nullptr);
    EXPECT_EQ(variable->getValue(), 3);
}

TEST_F(ArchiveLoaderTest, IncludeCasesLoadTheFirstThatHolds)
{
    for (const char* name : {"one.xml", "two.xml", "three.xml", "dflt.xml", "own.xml"})
        write(QString::fromLatin1(name),
            QStringLiteral("<archive><var name=\"FROM_%1\" value=\"1\"/></archive>")
                .arg(QString::fromLatin1(name).section(QLatin1Char('.'), 0, 0).toUpper())
                .toUtf8());
    write(QStringLiteral("a.xml"),
        "<archive>\n<var name=\"SEL\" value=\"2\"/>\n"
        "<include file=\"own.xml\">\n"
        "  <case cond=\"SEL == 2\" file=\"one.xml\"/>\n"
        "  <case cond=\"SEL == 3\" file=\"two.xml\"/>\n"
        "  <case cond=\"SEL &gt; 1\" file=\"three.xml\"/>\n"
        "</include>\n"
        "<include file=\"own.xml\"><case cond=\"0\" file=\"two.xml\"/><default "
        "file=\"dflt.xml\"/></include>\n"
        "<include file=\"own.xml\"><case file=\"two.xml\"/></include>\n"
        "</archive>");
    HwRootArchive* root = load(QStringLiteral("a.xml"));
    ASSERT_NE(root, nullptr);
    EXPECT_TRUE(messages().error.empty());
    QStringList loaded;
    for (const auto& file : root->getArchives())
        loaded.append(file->getName());
    EXPECT_EQ(loaded, (QStringList {"a.xml", "one.xml", "dflt.xml", "own.xml"}));
    const HwXMLArchive* a = archive(root, 0);
    const HwXMLInclude* first = a->getIncludes()[0].get();
    ASSERT_EQ(first->getConditionalEntries().size(), 3u);
    EXPECT_EQ(first->getConditionalEntries()[0].condition, QStringLiteral("SEL == 2"));
    EXPECT_EQ(first->getConditionalEntries()[0].headerName, QStringLiteral("one.h"));
    EXPECT_EQ(first->getConditionalEntries()[2].headerName, QStringLiteral("three.h"));
    EXPECT_TRUE(first->getHeaderName().isEmpty());
    EXPECT_EQ(a->getIncludes()[1]->getHeaderName(), QStringLiteral("dflt.h"));
    EXPECT_EQ(a->getIncludes()[2]->getHeaderName(), QStringLiteral("own.h"));
}

TEST_F(ArchiveLoaderTest, IncludeProblems)
{
    // A missing file that is not optional warns twice (the reader, then "Skipped.") and the load goes on.
    HwRootArchive* root =
        loadArchive("<include file=\"missing.xml\"/>\n<include/>\n<include load=\"no\" file=\"x.xml\"/>");
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(messages().warning,
        (Strings {"Unable to open file " + path(QStringLiteral("missing.xml")).toStdString(),
            at(QStringLiteral("a.xml"), 0, 0, QStringLiteral("Skipped.")),
            "Unable to open file " + m_dir.path().toStdString(),
            at(QStringLiteral("a.xml"), 0, 0, QStringLiteral("Skipped."))}));
    EXPECT_TRUE(messages().error.empty());

    struct Case {
        const char* content;
        int line;
        int column;
        const char* error;
    };
    const Case failures[] = {
        {"<include file=\"x.xml\">\n  <case cond=\"1 +\" file=\"y.xml\"/>\n</include>", 3, 3,
            "Condition '1 +' of include 'y.xml' contains an error in its expression !"},
        {"<include file=\"x.xml\">\n  <other/>\n</include>", 3, 3,
            "Include contains an unvalid 'other' tag.\n"},
        {"<include file=\"bad.xml\"/>", 1, 10, "Unvalid tag : 'junk'"},
    };
    write(QStringLiteral("bad.xml"), "<archive><junk/></archive>");
    for (const Case& c : failures) {
        SCOPED_TRACE(c.content);
        messages() = loadertest::Messages();
        EXPECT_EQ(loadArchive(c.content), nullptr);
        const QString file = QString::fromUtf8(c.error).contains(QLatin1String("junk"))
            ? QStringLiteral("bad.xml")
            : QStringLiteral("a.xml");
        expectOnlyError(at(file, c.line, c.column, QString::fromUtf8(c.error)));
    }
    // A failed load leaves the root of the last successful one in place.
    EXPECT_EQ(m_map.getChipRootArchive(), root);
}

TEST_F(ArchiveLoaderTest, ModuleAndTypedefMessages)
{
    struct Case {
        const char* content;
        int line;
        int column;
        const char* error;
    };
    const Case failures[] = {
        {"<module category=\"x\"/>", 2, 1, "module has no name !"},
        {"<module name=\"m\"/>\n<typedef name=\"m\"/>", 3, 1, "Type 'm' already exists or already loaded !)"},
        {"<module name=\"m\">\n  <reg32 name=\"a\"/>\n  <frob/>\n</module>", 4, 3,
            "Module contains an unvalid frob tag.\n"},
        {"<module name=\"m\"><reg name=\"a\"/></module>", 2, 18, "Module contains an unvalid reg tag.\n"},
    };
    for (const Case& c : failures) {
        SCOPED_TRACE(c.content);
        messages() = loadertest::Messages();
        EXPECT_EQ(loadArchive(c.content), nullptr);
        expectOnlyError(at(QStringLiteral("a.xml"), c.line, c.column, QString::fromUtf8(c.error)));
    }

    // A type defined in an included archive is taken in every archive of the tree.
    messages() = loadertest::Messages();
    write(QStringLiteral("types.xml"), "<archive><typedef name=\"t\"/></archive>");
    EXPECT_EQ(loadArchive("<include file=\"types.xml\"/>\n<module name=\"t\"/>"), nullptr);
    expectOnlyError(
        at(QStringLiteral("a.xml"), 3, 1, QStringLiteral("Type 't' already exists or already loaded !)")));

    messages() = loadertest::Messages();
    HwRootArchive* root =
        loadArchive("<module name=\"m\" rubyconstants=\"yes\"><comment>The m</comment></module>");
    ASSERT_NE(root, nullptr);
    const auto* m = static_cast<const HwStruct*>(root->getTemplate(QStringLiteral("m")));
    EXPECT_TRUE(m->hasRubyConstants());
    EXPECT_EQ(m->getComment(), QStringLiteral("The m"));
}

// A file name or an expression holding "%1" is written as it stands.
TEST_F(ArchiveLoaderTest, MessagesKeepPercentSigns)
{
    write(QStringLiteral("p%1.xml"), "<archive>\n<var name=\"V%2\" value=\"%3\"/>\n</archive>");
    EXPECT_EQ(load(QStringLiteral("p%1.xml")), nullptr);
    expectOnlyError(at(QStringLiteral("p%1.xml"), 2, 1,
        QStringLiteral("In archive 'p%1.xml', variable 'V%2' declaration : Error in expression of : V%2")));
}

TEST_F(ArchiveLoaderTest, GlobalVariablesAreSharedAndTakenBackOnFailure)
{
    write(QStringLiteral("g.xml"), "<archive><var name=\"G\" value=\"5\" global=\"yes\"/></archive>");
    HwRootArchive* root =
        loadArchive("<include file=\"g.xml\" load=\"no\"/>\n"
                    "<var name=\"G\" value=\"7\" global=\"yes\"/>\n<var name=\"H\" value=\"G * 2\"/>");
    ASSERT_NE(root, nullptr);
    ASSERT_EQ(m_map.getGlobalVariables().count(), 1);
    EXPECT_EQ(archive(root, 0)->getVariableManager().find(QStringLiteral("H"))->getValue(), 14);

    // A second declaration warns and keeps the first value.
    messages() = loadertest::Messages();
    ASSERT_NE(load(QStringLiteral("g.xml")), nullptr);
    EXPECT_EQ(messages().warning,
        Strings {at(QStringLiteral("g.xml"), 1, 10,
            QStringLiteral("Discarding declaration of global variable G (already declared)."))});
    EXPECT_EQ(m_map.getGlobalVariables().at(0).getValue(), 7);

    // Globals declared by a load that fails are forgotten with it.
    messages() = loadertest::Messages();
    EXPECT_EQ(loadArchive("<var name=\"K\" value=\"1\" global=\"yes\"/>\n<bogus/>"), nullptr);
    EXPECT_EQ(m_map.getGlobalVariables().count(), 1);
}

} // namespace
