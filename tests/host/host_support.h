#ifndef VELLXML_TESTS_HOST_HOST_SUPPORT_H
#define VELLXML_TESTS_HOST_HOST_SUPPORT_H

#include <vellxml/host/simulator.h>

#include <ostream>

namespace vellxml::sim {

// Readable failure messages for the simulator's call log.
inline void PrintTo(const HostCall& call, std::ostream* os)
{
    *os << "{op " << static_cast<int>(call.operation) << ", target " << call.target << ", 0x" << std::hex
        << call.address << ", 0x" << call.value << std::dec << ", result " << call.result << "}";
}

} // namespace vellxml::sim

#endif
