// Helpers of the node-map engine tests: an in-memory port that counts its calls, and a checker
// for the type and text of an exception.
#pragma once

#include "lxtesttext.h"

#include <GenApi/GenApi.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace enginetest {

// A port over a block of memory, little endian like the host. A hook may take over a read or a
// write (and return true), as a module answers some addresses its own way. Reads outside the
// block leave the buffer as it is, as a module does for addresses it does not serve.
class CTestPort : public GenApi::IPort {
public:
    explicit CTestPort(size_t size = 0x400) : memory(size, 0) {}

    GenApi::EAccessMode GetAccessMode() const override { return GenApi::RW; }

    void Read(void* buffer, int64_t address, int64_t length) override {
        ++reads;
        ++readsAt[address];
        lastReadLength = length;
        if (onRead && onRead(buffer, address, length)) return;
        if (address < 0 || address + length > static_cast<int64_t>(memory.size())) return;
        std::memcpy(buffer, memory.data() + address, static_cast<size_t>(length));
    }

    void Write(const void* buffer, int64_t address, int64_t length) override {
        ++writes;
        lastWriteAddress = address;
        lastWriteLength = length;
        if (onWrite && onWrite(buffer, address, length)) return;
        if (address < 0 || address + length > static_cast<int64_t>(memory.size())) return;
        std::memcpy(memory.data() + address, buffer, static_cast<size_t>(length));
    }

    template <class T>
    void Poke(int64_t address, T value) {
        std::memcpy(memory.data() + address, &value, sizeof value);
    }
    template <class T>
    T Peek(int64_t address) const {
        T value;
        std::memcpy(&value, memory.data() + address, sizeof value);
        return value;
    }
    void ResetCounts() {
        reads = writes = 0;
        readsAt.clear();
    }

    std::vector<uint8_t> memory;
    int reads = 0;
    int writes = 0;
    std::map<int64_t, int> readsAt;
    int64_t lastReadLength = 0;
    int64_t lastWriteAddress = -1;
    int64_t lastWriteLength = 0;
    std::function<bool(void*, int64_t, int64_t)> onRead;
    std::function<bool(const void*, int64_t, int64_t)> onWrite;
};

inline std::string ReadTestFile(const std::string& name) {
    std::ifstream in(std::string(GENAPI_TEST_DATA_DIR) + "/" + name, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

using lxtest::TextOf;

} // namespace enginetest
