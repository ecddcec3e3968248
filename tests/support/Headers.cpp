// SPDX-License-Identifier: Apache-2.0
// A file of its own for what is read once for all test programs.
