// SPDX-License-Identifier: Apache-2.0
#include "common/stl/crypt++.h"

#include "common/stl/md5.h"
#include "tests/support.h"

#include <sys/file.h>

using CryptTest = ThrowAwayDir;

TEST_F(CryptTest, DigestsAsInRfc1321)
{
    const std::string ofAbc = "900150983cd24fb0d6963f7d28e17f72", path = write("f", "abc"), text(160, 'q');
    std::string hex, raw;
    crpt::md5EncryptHex("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", hex);
    IS("d174ab98d277d9f5a5611c2c9f419d9f|d41d8cd98f00b204e9800998ecf8427e|", hex, crpt::md5EncryptHex("", 0));
    md5_state_t state;
    unsigned char digest[16];
    md5_init(&state);
    for (const int size : {33, -1, 23, 64, 40}) // in pieces as in one
        md5_append(&state, reinterpret_cast<const unsigned char*>(text.data()), size);
    md5_finish(&state, digest);
    crpt::md5Encrypt(text, raw);
    EXPECT_EQ(std::string(digest, digest + 16), raw);
    const int fd = open(path.c_str(), O_RDONLY), other = open(path.c_str(), O_RDONLY);
    IS(ALL(ofAbc, ofAbc, 0), crpt::fileMD5Checksum(path), crpt::fileMD5Checksum(fd), flock(other, LOCK_EX | LOCK_NB));
    IS("||", crpt::fileMD5Checksum(write("empty", "")), crpt::fileMD5Checksum(dir + "none"));
    IS("3|0|0|0|", crpt::fileSize(fd), crpt::fileSize(-1), close(fd), close(other));
}

TEST_F(CryptTest, MakesSaltsAndHashes)
{
    const std::string ofPassword = "$1$$I2o9Z7NcvQAKp7wyCTlia0"; // by openssl passwd -1 -salt ''
    EXPECT_TRUE(crpt::md5Encrypt("password") == ofPassword && crpt::compare("password", ofPassword));
    outside = {};
    const std::string salt = crpt::makeSalt();
    IS("19|$6$|-1|350000|$1$$6$$1$|", salt.size(), salt.substr(0, 3), static_cast<int>(salt.find_first_of("$:* ", 3)),
       outside.napped, outside.hashes);
    std::string hash, other;
    crpt::makeHash("secret", hash), crpt::makeHash("secret", other);
    IS("106|$6$$|0|1|1|", hash.size(), hash.substr(0, 3) + hash[19], hash == other, crpt::compare("secret", hash),
       crpt::compare("secret", other));
    ++other.back();
    for (const std::string& wrong : {"secreT"_s, ""_s, "secret "_s, "secret\0"_s, "secret\0x"_s})
        EXPECT_FALSE(crpt::compare(wrong, hash)) << wrong;
    for (const std::string& bad : {""_s, "x"_s, "*0"_s, "*1"_s, "$6$"_s, "$9$salt$x"_s, other})
        EXPECT_FALSE(crpt::compare("secret", bad)) << bad;
    crpt::makeHash("a\0b"_s, hash), crpt::makeHash(std::string(600, 'x'), other);
    EXPECT_EQ(hash + other, "");
}
