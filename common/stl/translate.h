// SPDX-License-Identifier: Apache-2.0
#ifndef GREX_COMMON_STL_TRANSLATE_H
#define GREX_COMMON_STL_TRANSLATE_H

/// The text of gettext(3) for the key `prefix` + `message` where the program's catalogue has one,
/// `message` itself, without its prefix, otherwise. Allocates nothing and keeps errno. The result
/// lives as long as the catalogue or `message`. As translations of a format carry the same
/// conversions, compilers may check it as one.
const char* translate(const char* prefix, const char* message) __attribute__((format_arg(2)));

#endif
