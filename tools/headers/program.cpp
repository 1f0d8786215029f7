// SPDX-License-Identifier: GPL-3.0-or-later
// A program like the tests, for the headers that they share.
int main() {}
