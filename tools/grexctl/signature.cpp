// SPDX-License-Identifier: Apache-2.0
#include "tools/grexctl/signature.h"

#include "common/stl/crypt++.h"
#include "common/stl/sx.h"

#include <unistd.h>

namespace grexctl {

namespace {

Signature look(const File& file)
{
    const File signature = readFile(signaturePath(file.path));
    if (!signature.isRead())
        return signature.isMissing() ? Signature::Missing : Signature::Unreadable;
    return sx::strip(signature.text, "\r\n") == checksumOf(file) ? Signature::Fits
                                                                 : Signature::Wrong;
}

} // namespace

std::string signaturePath(const std::string& path)
{
    return path + ".sig";
}

std::string checksumOf(const File& file)
{
    std::string checksum;
    crpt::md5EncryptHex(file.text, checksum);
    return checksum;
}

Signature stateOfSignature(const File& file)
{
    constexpr useconds_t changeTime = 200000; // microseconds
    const Signature first = look(file);
    if (first != Signature::Wrong)
        return first;
    usleep(changeTime);
    return look(readFile(file.path));
}

} // namespace grexctl
