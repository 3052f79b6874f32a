// Fuzzes the loading of node-map descriptions: the input is the XML text. A description that loads
// gets an in-memory device on every port (its bytes taken from the input) and has every node read,
// then some written, as a client would.
#include "fuzz_support.h"

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // Descriptions of real modules stay far below this; larger inputs only slow the search.
    if (size > 256 * 1024) return 0;
    const std::string xml(reinterpret_cast<const char*>(data), size);
    GenApi::CNodeMapRef ref;
    try {
        ref._LoadXMLFromString(xml);
    } catch (const GenICam::GenericException&) {
        return 0;
    }
    GenApi::INodeMap* map = ref._GetNodeMap();
    lxfuzz::CMemoryPort port;
    port.Fill(xml);
    lxfuzz::ConnectAllPorts(*map, port);
    lxfuzz::ReadEveryNode(*map);
    // The tail of the input steers the writes: mutations there change what is written, not the XML
    // that comes before it.
    lxfuzz::CInput in(data + size / 2, size - size / 2);
    lxfuzz::WriteSomeNodes(*map, in, 64);
    lxfuzz::ReadEveryNode(*map);
    return 0;
}
