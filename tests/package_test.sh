#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# What scripts/package made, as its users have it.
#
#     package_test.sh tar FILE EXAMPLES   the tar file, unpacked into two folders, with the clients in EXAMPLES
#     package_test.sh debs FOLDER         the packages of FOLDER, in an empty Debian 12 made for it; as root
set -euo pipefail
unset CMAKE_GENERATOR # of the machine, not of the new one

work=$(mktemp -d)
trap 'rm -rf --one-file-system "$work"' EXIT

fail() { echo "package_test.sh: $*" >&2; exit 1; }

# try_clients ELEMENT EXAMPLES [CMAKE-OPTION...], where in_root runs: an element below the folder ELEMENT, a user that
# the tool adds, and the examples as they are built with pkg-config and with CMake.
try_clients() {
    in_root bash -euo pipefail -s "$@" <<'CLIENTS'
element=$1 examples=$2
shift 2
config=$element/opt/borea/etc data=$element/var/opt/borea/etc
folder=$(mktemp -d)
trap 'rm -rf "$folder" "$element/opt/borea" "$element/var/opt/borea"' EXIT
mkdir -p "$config" "$data"
cd "$folder"
printf '[common]\nVarConfigDir = %s\n' "$data" >"$config/borea.conf"
printf 'http;1@1;2@3;3@3;4@1\ncli;2@3\n' >"$data/modacc"
grexctl=(grexctl --config-dir "$config")
"${grexctl[@]}" users add ann --group Admin <<<"ann's secret" >&2
"${grexctl[@]}" --json login ann <<<"ann's secret" | grep -q '"granted": *true'
"${grexctl[@]}" check >&2

cp "$examples"/{group_list.c,login_prompt.cpp,seed.h} .
printf '%s\n' 'cmake_minimum_required(VERSION 3.25)' 'project(clients C CXX)' 'find_package(libgrex 1.0 CONFIG REQUIRED)' \
    'add_executable(group_list group_list.c)' 'target_link_libraries(group_list grex::grex)' \
    'add_executable(login_prompt login_prompt.cpp)' 'target_link_libraries(login_prompt grex::grex)' >CMakeLists.txt
cmake "$@" -B cmake >/dev/null
cmake --build cmake >/dev/null
mkdir pkgconfig
# A blank in a path has a backslash.
eval "flags=($(pkg-config --cflags --libs grex) -Wl,-rpath,$(pkg-config --variable=libdir grex))"
gcc -std=c99 -Wall -Werror group_list.c "${flags[@]}" -o pkgconfig/group_list
g++ -std=c++17 -Wall -Werror login_prompt.cpp "${flags[@]}" -o pkgconfig/login_prompt
for clients in cmake pkgconfig; do
    groups=$($clients/group_list)
    [[ -n $element || $(grep -c ":Fixed Group" <<<"$groups") == 4 ]] || { echo "$clients: groups '$groups'" >&2; exit 1; }
    printf '%s\n' ann "ann's secret" | $clients/login_prompt http "$config" 2>&1 | grep 'welcome, ann of group Admin'
done
[[ -z $element ]] || exit 0 # PAM has no other paths
printf 'auth required pam_grex.so context=cli\n' >/etc/pam.d/grex-test
pamtester grex-test ann authenticate <<<"ann's secret"
if pamtester grex-test ann authenticate <<<guessed; then exit 1; fi
rm /etc/pam.d/grex-test
CLIENTS
}

test_tar() {
    local folder
    in_root() { "$@"; }
    for folder in "$work/first" "$work/a second"; do
        mkdir "$folder"
        tar -C "$folder" --strip-components=1 -xzf "$1"
        PATH=$folder/bin:$PATH PKG_CONFIG_PATH=$folder/lib/pkgconfig \
            try_clients "$work/element" "$(realpath "$2")" "-DCMAKE_PREFIX_PATH=$folder"
        rm -rf "$folder" # so that the second does not live on the first
    done
}

# Every file and folder, and the content of the configuration; not what apt and dpkg note about themselves.
list_files() {
    (cd "$1" && find . -xdev \( -path ./var/lib/apt -o -path ./var/lib/dpkg -o -path ./var/cache -o -path ./var/log -o \
        -path ./tmp \) -prune -o -print | sort && find ./etc -type f ! -name ld.so.cache -exec md5sum {} + | sort)
}

test_debs() {
    local root=$work/root mirror
    local apt=(env DEBIAN_FRONTEND=noninteractive apt-get -qq -y --no-install-recommends -o Dpkg::Use-Pty=0)
    in_root() { chroot "$root" "$@"; }
    mirror=$(apt-get indextargets --format "\$(REPO_URI)" 'Created-By: Packages' 'Codename: bookworm' | head -n 1)
    debootstrap --variant=minbase --include=g++,make,cmake,pkgconf,pamtester bookworm "$root" "$mirror" >"$work/log" ||
        fail "no empty Debian could be made: $(tail -n 20 "$work/log")"
    cp "$1"/*.deb "$root/tmp"
    rm -f "$root"/tmp/*-dbgsym_*
    list_files "$root" >"$work/before"
    in_root bash -c "${apt[*]} install /tmp/*.deb" >"$work/log"
    try_clients "" /usr/share/doc/libgrex-dev/examples
    in_root "${apt[@]}" purge --autoremove grexctl libgrex1 libgrex-dev libgrex-doc libpam-grex >"$work/log"
    list_files "$root" | diff "$work/before" - || fail "the packages leave traces"
}

case "$#:${1:-}" in
3:tar) test_tar "$2" "$3" ;;
2:debs) test_debs "$2" ;;
*) fail "usage: package_test.sh tar FILE EXAMPLES | debs FOLDER" ;;
esac
echo "$1: good"
