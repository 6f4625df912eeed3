// SPDX-License-Identifier: Apache-2.0
#ifndef GREX_COMMON_STL_EXPORT_H
#define GREX_COMMON_STL_EXPORT_H

/// Marks what libgrex.so exports; everything else is built with hidden visibility.
#if defined(__GNUC__)
#define GREX_API __attribute__((visibility("default")))
#else
#define GREX_API
#endif

#endif
