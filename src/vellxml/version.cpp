#include <vellxml/version.h>

namespace vellxml {

const char* versionString()
{
    return VELLXML_VERSION_STRING;
}

} // namespace vellxml
