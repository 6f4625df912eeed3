// SPDX-License-Identifier: Apache-2.0
#ifndef GREXCTL_SIGNATURE_H
#define GREXCTL_SIGNATURE_H

#include "tools/grexctl/element.h"

#include <string>

namespace grexctl {

enum class Signature { Fits, Missing, Unreadable, Wrong };

std::string signaturePath(const std::string& path);
/// MD5, 32 hexadecimal digits.
std::string checksumOf(const File& file);
/// Whether the file beside it holds the checksum, with or without a line end. Looks twice: between
/// a file and its signature a change is on its way.
Signature stateOfSignature(const File& file);

} // namespace grexctl

#endif
