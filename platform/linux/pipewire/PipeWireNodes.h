#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/linux/pipewire/PipeWireConnection.h"

namespace glintro {

struct PipeWireNode {
    std::uint32_t id = 0;    // until the node goes
    std::string name;        // the same for the same device each time
    std::string description; // to show to the user
    std::string deviceApi;   // what the session manager made it from, for example "v4l2"; may be empty
};

// The nodes of a media class, for example "Video/Source", that the daemon has now; none when it does not
// answer within two seconds. Call it without the connection's lock.
std::vector<PipeWireNode> nodesOfClass(PipeWireConnection& connection, const std::string& mediaClass);

} // namespace glintro
