// SPDX-License-Identifier: Apache-2.0
// What the largest answers that the service keeps cost it at the highest.
#pragma once

// Prints the highest memory of a service for each shape of such an answer; false when one that is
// little more than text takes more than it may.
bool LargeAnswersStaySmall();
