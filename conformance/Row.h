// SPDX-License-Identifier: Apache-2.0
// What the kit looks at: rows, each a sentence that holds of a service or does not.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace Conformance {

class Kit;

// The sentence does not hold; says what was there instead.
class DoesNotHold : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// It cannot be tried here; says what would be needed.
class CannotBeTried : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct Row {
    const char* name;      // "session.open"
    const char* sentence;  // what holds
    void (*look)(Kit& kit);
};

[[nodiscard]] std::vector<Row> SessionRows();
[[nodiscard]] std::vector<Row> RequestRows();
[[nodiscard]] std::vector<Row> CommandRows();
[[nodiscard]] std::vector<Row> ServerRows();

// All of them, in the order in which they are looked at.
[[nodiscard]] std::vector<Row> AllRows();

// Throws DoesNotHold.
void Expect(const std::string& there, const std::string& expected, const std::string& of);
void ExpectThat(bool holds, const std::string& instead);

}  // namespace Conformance
