#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The PAM module in the stacks of throw-away elements, through pamtester: as root, if that is who we are, and as an
# ordinary user. Usage: pam_test.sh MODULE LIBGREX CUSTOMERDB; PAM_TEST_PRELOAD names what a sanitizer needs.
set -euo pipefail
(($# == 3)) || { echo "usage: $0 MODULE LIBGREX CUSTOMERDB" >&2; exit 2; }
service='' work=$(mktemp -d) customerdb=$(realpath "$3") failures=0 rows=0 as=()
finish() {
    kill "$service" 2>/dev/null || true
    find /tmp -maxdepth 1 -name 'pam.?' -newer "$work/stacks.begun" -exec rm -rf {} +
    chmod -R u+w "$work"
    rm -rf "$work"
}
chmod 755 "$work"
install "$1" "$work/pam_grex.so" # where an ordinary user can read them
install "$2" "$work/libgrex.so.1"
cd "$work"
mkdir stacks
# libpam-wrapper gives a process one of 62 folders, /tmp/pam.X, and does not mind whether another is in it; programs
# that the module starts leave theirs behind. So one run of this script at a time, and again what meets an old folder.
exec 9<"$(command -v pamtester)"
flock 9
touch stacks.begun
trap finish EXIT

# stack NAME FOLDERS: the services of an element, and the ways to ask for a password behind one that was asked for
stack() {
    local pass grex="required $work/pam_grex.so context=http $2"
    printf '%s\n' "auth $grex debug bogus" "auth optional pam_exec.so stdout /usr/bin/env" "account $grex" \
        "password $grex" "session $grex" >"stacks/$1"
    for pass in ask use_first_pass try_first_pass; do
        printf '%s\n' "auth ${grex/required/optional}" "auth $grex ${pass#ask}" >"stacks/$1-$pass"
    done
    printf '%s\n' "auth ${grex/=http/=nomod}" "account ${grex/=http/=nomod}" >"stacks/$1-nomod"
    printf '%s\n' "auth ${grex/context=http/}" "account ${grex/context=http/}" >"stacks/$1-nocontext"
}

element() { # NAME [URL]
    local user
    mkdir -p "$1/etc" "$1/var"
    printf '[common]\nVarConfigDir=%s\n' "$work/$1/var" >"$1/etc/borea.conf"
    printf '[cu/params/101]\nNMSServerUrl=%s\nNMSConnectTimeout=5\n' "${2-}" >"$1/var/borea.conf"
    printf 'http;1@1;2@3;4@0\n' >"$1/var/modacc"
    for user in ann:2:annpw mon:4:monpw joe:1:joepw :2:pw nil:1: gone:2:gonepw; do
        perl -e 'print "$ARGV[0]:", crypt($ARGV[1], q($6$salt)), "\n"' "${user%:*}" "${user##*:}"
    done | tee >(grep -v gone >"$1/var/users") | grep gone >"$1/var/cache.db"
    stack "$1" "config_dir=$work/$1/etc"
}

# Rows "stack|user|operations|what is typed|patterns". Each pattern, with "&" between two, must be in the output; one
# behind a "!" must not.
check() {
    local stack user operations typed patterns pattern output found i
    while IFS='|' read -r stack user operations typed patterns; do
        rows=$((rows + 1))
        for ((i = 0; i < 60; ++i)); do
            # shellcheck disable=SC2086 # several operations
            output=$(printf '%b' "$typed" | "${as[@]}" env LD_PRELOAD="${PAM_TEST_PRELOAD-} libpam_wrapper.so" \
                LD_LIBRARY_PATH="$work" ASAN_OPTIONS=detect_leaks=0 LC_ALL=C PAM_WRAPPER=1 PAM_WRAPPER_DEBUGLEVEL=2 \
                PAM_WRAPPER_DISABLE_DEEPBIND=1 PAM_WRAPPER_SERVICE_DIR="$work/stacks" \
                pamtester "$stack" "$user" $operations 2>&1) || true
            [[ $output == *'Initialization failure'* ]] || break
        done
        while IFS= read -r pattern; do
            found=''
            grep -Eq -- "${pattern#!}" <<<"$output" || found='!'
            [[ $found == "${pattern%"${pattern#!}"}" ]] && continue
            failures=$((failures + 1))
            printf '%s\n' "FAILED: ${as[*]} $stack|$user|$operations|$typed|$pattern" "$output"
        done <<<"${patterns//&/$'\n'}"
    done
}

services() { # what root and an ordinary user see alike
    check <<'EOF'
local|ann|authenticate acct_mgmt|annpw\n|successfully auth&GREX_GID=2&GREX_GROUP=Admin&GREX_LEVEL=3&management done&unknown option: 'bogus'&SYSLOG.7.*has level 3&!annpw
local|ann|authenticate|annpx\n|: Authentication failure&!GREX_&!annpx
local|mon|authenticate|monpw\n|: Authentication failure
local|gone|authenticate|wrong\n|: Authentication failure
local|nobody|authenticate|annpw\n|: User not known
local||authenticate|pw\n|: Authentication failure
local|nil|authenticate|\n|successfully auth
local|nil|authenticate(PAM_DISALLOW_NULL_AUTHTOK)|\n|: Authentication failure
local-nomod|ann|authenticate|annpw\n|: Error in service module&'nomod' is not listed
local-nomod|ann|acct_mgmt||: Error in service module&'nomod' is not listed
local-nocontext|ann|authenticate|annpw\n|: Error in service module&context= is missing
local-use_first_pass|ann|authenticate|annpw\n|successfully auth
local-use_first_pass|ann|authenticate|annpx\nannpw\n|: Authentication failure
local-try_first_pass|ann|authenticate|annpw\n|successfully auth
local-try_first_pass|ann|authenticate|annpx\nannpw\n|successfully auth
local-ask|ann|authenticate|annpw\nannpw\n|successfully auth
local-ask|ann|authenticate|annpw\nannpx\n|: Authentication failure
local|mon|acct_mgmt||: Permission denied
local|nobody|acct_mgmt||: Permission denied
local|ann|open_session close_session||opened a session&been closed
local|gone|chauthtok||token manipulation error&remote login service
local|nobody|chauthtok||: User not known
local|joe|chauthtok(PAM_CHANGE_EXPIRED_AUTHTOK)||altered successfully
mixed|gone|authenticate|gonepx\n|: User not known
net|far|authenticate acct_mgmt|farpw\n|successfully auth&GREX_GID=1&management done
net|far|authenticate|farpx\n|: Authentication failure
net|far|acct_mgmt||: Permission denied
net|far|chauthtok||token manipulation error&remote login service
net|nobody|authenticate|annpw\n|: Authentication failure
nocache|far|authenticate acct_mgmt|farpw\n|management done
nocache|far|acct_mgmt||: Permission denied
EOF
}

printf '[{"login": "far", "password": "farpw", "group": 1, "name": "n", "id": 1},
    {"login": "joe", "password": "joenet", "group": 1, "name": "n", "id": 2}]' >users.json
"$customerdb" --port-file port users.json >service.log 2>&1 &
service=$!
for ((i = 0; i < 100; ++i)); do [[ -s port ]] || sleep 0.1; done
element local
for name in net nocache; do element "$name" "http://127.0.0.1:$(<port)/"; done
rm nocache/var/cache.db
mkdir nocache/var/cache.db # where no record can be kept
element empty
stack mixed "config_dir=$work/local/etc var_dir=$work/empty/var"
: >empty/var/cache.db
for name in closed unread; do element "$name"; done
chmod a-w closed/var closed/var/*
chmod 0 unread/var/users

if ((EUID == 0)); then
    services
    check <<'EOF'
local|joe|chauthtok|rootpw\nrootpw\n|altered successfully&!rootpw
local|joe|authenticate|rootpw\n|successfully auth
local|joe|chauthtok|\n\n|token manipulation error
local|joe|chauthtok|joepw\njoepw\n|altered successfully
EOF
    chown -R 65534:65534 local net nocache empty
    as=(setpriv --reuid=65534 --regid=65534 --clear-groups)
fi
services
check <<'EOF'
local|joe|chauthtok|wrong\nnewpw\nnewpw\n|: Authentication failure
local|joe|chauthtok|joepw\nnewpw\nnewpw\n|altered successfully&!(joe|new)pw
local|joe|authenticate|newpw\n|successfully auth
local|joe|authenticate|joepw\n|: Authentication failure
net|joe|authenticate chauthtok|joenet\njoenet\nnewpw\nnewpw\n|successfully auth&: Authentication failure
net|joe|chauthtok|joepw\nnewpw\nnewpw\n|altered successfully
closed|joe|chauthtok|joepw\nnewpw\nnewpw\n|token manipulation error&cannot be stored
closed|joe|authenticate|joepw\n|successfully auth
unread|ann|authenticate|annpw\n|: Authentication failure
net|far|authenticate|farpw\n|successfully auth
EOF
kill "$service"
wait "$service" || true
check <<<'net|far|authenticate acct_mgmt|farpw\n|successfully auth&management done'
echo "$rows rows, $failures failures"
((failures == 0))
