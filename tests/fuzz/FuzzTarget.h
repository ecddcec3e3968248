// SPDX-License-Identifier: Apache-2.0
// What every fuzz target is made of. A target is a program with one function of its own, which takes any
// bytes and ends the process by abort() when a promise does not hold. The fuzzing build links it to
// libFuzzer; every other build to Replay.cpp, which runs it over the committed corpus.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// Aborts, with the words on standard error, unless the promise holds.
void Require(bool holds, const char* promise);

// Hands out the parts of an input, front to back. What is missing is zero or empty.
class FuzzInput {
public:
    FuzzInput(const std::uint8_t* data, std::size_t size)
        : at(reinterpret_cast<const char*>(data)), left(size) {}

    bool AtEnd() const { return left == 0; }
    std::uint8_t Byte();
    std::uint32_t Number(std::size_t bytes);  // most significant first

    // Up to the next line feed, which is taken off, or to the end. Inputs of this form stay readable.
    std::string Line();
    std::string Rest();

private:
    const char* at;
    std::size_t left;
};
