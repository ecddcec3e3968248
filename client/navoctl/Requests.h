// SPDX-License-Identifier: Apache-2.0
// From what the user wrote to the request that the service gets.
#pragma once

#include <stdexcept>

#include "client/navoctl/Arguments.h"
#include "client/navoctl/RawValues.h"

// A value that the command line's form allows and that cannot be used all the same.
class WrongValue : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Fills command, request and method by the command's name. Throws WrongValue, for a file that cannot be read
// or holds no script, or a key that comes twice.
void FillRequest(Arguments& arguments, const RawValues& values);
