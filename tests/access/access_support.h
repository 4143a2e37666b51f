#ifndef VELLXML_TESTS_ACCESS_ACCESS_SUPPORT_H
#define VELLXML_TESTS_ACCESS_ACCESS_SUPPORT_H

#include "loader/loader_support.h"

#include <vellxml/loader/archive.h>
#include <vellxml/loader/memory_map.h>

namespace accesstest {

/// A small chip exercising every path form: register and structure arrays, an instance array in a module,
/// pointers to a typedef (which points to itself), to a basic type and to an unknown type, two members
/// named alike, a memory, and two instances named alike.
inline const QByteArray kChip =
    "<typedef name=\"node\"><uint32 name=\"val\"/><ptr name=\"next\" type=\"node\"/></typedef>\n"
    "<typedef name=\"port\"><reg32 name=\"odr\"><comment>Output</comment><bits name=\"p0\" pos=\"0\"/>"
    "</reg32></typedef>\n"
    "<module name=\"dev\">\n"
    "  <reg32 name=\"ctrl\"><comment>Control</comment><bits name=\"en\" pos=\"0\"/>"
    "<bits name=\"mode\" pos=\"5:4\"/><bitgroup name=\"grp\"><entry ref=\"en\"/><entry ref=\"mode\"/>"
    "</bitgroup></reg32>\n"
    "  <reg32 name=\"regs\" count=\"4\"><bits name=\"v\" pos=\"7:0\"/></reg32>\n"
    "  <struct name=\"ch\" count=\"2\"><reg32 name=\"cfg\"/></struct>\n"
    "  <instance name=\"ports\" type=\"port\" count=\"3\"/>\n"
    "  <ptr name=\"head\" type=\"node\"><comment>List</comment></ptr>\n"
    "  <ptr name=\"bytes\" type=\"uint8\"/>\n"
    "  <ptr name=\"bad\" type=\"nosuch\"/>\n"
    "  <reg32 name=\"dup\"/>\n"
    "  <struct name=\"dup\"><reg32 name=\"x\"/></struct>\n"
    "  <memory name=\"ram\" size=\"16\"/>\n"
    "  <int16 name=\"level\"/>\n"
    "</module>\n"
    "<instance name=\"DEV\" type=\"dev\" address=\"0x1000\"/>\n"
    "<instance name=\"DEV\" type=\"port\" address=\"0x8000\"/>\n"
    "<instance name=\"OTHER\" type=\"port\" address=\"0x9000\"/>\n";

/// Loads kChip; the memory map keeps it.
class ChipFixture : public loadertest::Fixture {
protected:
    void SetUp() override
    {
        loadertest::Fixture::SetUp();
        loadArchive(kChip);
        ASSERT_EQ(loadertest::messages().error, std::vector<std::string> {});
    }
};

} // namespace accesstest

#endif
