# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# What the scripts share: the packages that each purpose needs, and one way to configure and build.
# The script that sources it has set root, the project's folder.

packages_for() {
    case $1 in
    build) echo g++ cmake ninja-build pkg-config libcurl4-openssl-dev libxml2-dev libcrypt-dev libcap-dev \
        libpam0g-dev libcli11-dev nlohmann-json3-dev libcpp-httplib-dev libssl-dev gettext curl openssl ;;
    tests) echo libgtest-dev pamtester libpam-wrapper gsoap libgsoap-dev python3-zeep python3 libcap2-bin strace gdb \
        util-linux clang-14 libclang-rt-14-dev llvm-14 mandoc doxygen ;;
    lint) echo clang-format-14 clang-tidy-14 shellcheck mandoc abigail-tools xz-utils ;;
    fuzz) echo clang-14 libclang-rt-14-dev llvm-14 ;;
    bench) echo libbenchmark-dev libcdb-dev libpam-pwdfile libnss-wrapper libuser1-dev libssl-dev \
        python3 ;;
    package) echo build-essential doxygen debhelper lintian dpkg-dev debootstrap xz-utils ;;
    *) echo "no packages are known for '$1'" >&2; return 1 ;;
    esac
}

as_root() {
    if ((EUID == 0)); then
        "$@"
    else
        sudo "$@"
    fi
}

apt_get() {
    as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq -o DPkg::Lock::Timeout=300 "$@"
}

is_installed() {
    [[ $(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null) == installed ]]
}

# Installs what the purposes need and the machine lacks; asks the network only then.
need_packages() {
    local purpose name names missing=()
    for purpose in "$@"; do
        names=$(packages_for "$purpose")
        for name in $names; do
            is_installed "$name" || missing+=("$name")
        done
    done
    ((${#missing[@]})) || return 0
    if ! command -v apt-get >/dev/null || { ((EUID != 0)) && ! command -v sudo >/dev/null; }; then
        echo "these packages are missing, and installing them takes apt-get and root or sudo: ${missing[*]}" >&2
        return 1
    fi
    echo "installing: ${missing[*]}"
    apt_get update
    apt_get install -y --no-install-recommends "${missing[@]}" >/dev/null
}

# configure_and_build PRESET FOLDER [CMAKE-OPTION...]
configure_and_build() {
    local preset=$1 folder=$2
    shift 2
    if command -v ninja >/dev/null; then
        export CMAKE_GENERATOR=Ninja
    fi
    (cd "${root:?}" && cmake --preset "$preset" -B "$folder" "$@" && cmake --build "$folder" --parallel "$(nproc)")
}
