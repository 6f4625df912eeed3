#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# The contract between programs of different makers: a Python client against the example service, grexctl and the
# example clients against a service that gSOAP generates. Usage: interop_test.sh EXAMPLES GREXCTL WORKDIR
set -euo pipefail
(($# == 3)) || { echo "usage: $0 EXAMPLES GREXCTL WORKDIR" >&2; exit 2; }
built=$(realpath "$1") grexctl=$(realpath "$2") customerdb=$(realpath "$1/customerdb/customerdb") examples=$(realpath "$(dirname "$0")/../examples/customerdb")
work=$(realpath -m "$3")/interop
fail() { echo "interop: $*" >&2; exit 1; }
declare -A pids=()
trap 'kill "${pids[@]}" 2>/dev/null || true; wait' EXIT

# await FILE: until a program has written its port there
await() {
    for ((i = 0; i < 100; ++i)); do [[ -s $1 ]] || sleep 0.1; done
}
# expect WHAT STATUS OUTPUT COMMAND...: standard output and exit status in full
expect() {
    local what=$1 status=$2 output=$3 got=0 text
    shift 3
    text=$("$@" 2>"$work/stderr") || got=$?
    [[ $got == "$status" && $text == "$output" ]] ||
        fail "$what: status $got, '$text', wanted $status, '$output': $(cat "$work/stderr")"
}
login() { printf '%s\n' "$2" | "$grexctl" --config-dir "$work" --json login "$1"; }


rm -rf "$work"
mkdir -p "$work/gsoap" "$work/var"
cat >"$work/users.json" <<'EOF'
[{"login": "ann\u00e9", "password": "a<b&c", "group": 2, "name": "Ann <& Co>", "id": 101, "tag": "]]>"}]
EOF

"$customerdb" --port-file "$work/port" "$work/users.json" >"$work/customerdb.log" &
pids[customerdb]=$!
await "$work/port"
url=http://127.0.0.1:$(<"$work/port")/
zeep() { /usr/bin/python3 "$examples/zeep_client.py" "$url" "$1" <<<"$2"; }
expect "a zeep client" 0 'session of Ann <& Co> from 127.0.0.1, group 2
user 101 anné, group 2, tag ]]>
a session that it did not open: code 2' zeep anné 'a<b&c'
expect "a refused zeep client" 1 'refused, code 1: wrong login or password' zeep anné 'a<b&ca<b&c'
expect "a hostile login" 1 'refused, code 1: wrong login or password' zeep $'no\none' 'a<b&c'
# What no generated client sends.
expect "a request that is none" 0 "not well-formed" bash -c "curl -sS -H Content-Type:text/xml '$url' --data-binary '<e:Envelope' | grep -o 'not well-formed'"
expect "a large request" 0 413 bash -c "head -c 65537 /dev/zero | curl -s -o /dev/null -w '%{http_code}' '$url' --data-binary @-"
if grep -F 'a<b&c' "$work/customerdb.log"; then fail "a password in the log"; fi
grep -Fq 'OpenSession "no\x0aone" refused' "$work/customerdb.log" || fail "a login is not escaped in the log"
kill "${pids[customerdb]}"
wait "${pids[customerdb]}" || fail "customerdb: status $? after SIGTERM"

wsdl2h -o "$work/gsoap/service.h" "$examples/customerdb.wsdl" &>"$work/gsoap.log" || fail "wsdl2h: $(cat "$work/gsoap.log")"
(cd "$work/gsoap" && soapcpp2 -S -j -L service.h) &>"$work/gsoap.log" || fail "soapcpp2: $(cat "$work/gsoap.log")"
"${CXX:-g++}" -std=c++17 -O0 -w -I"$work/gsoap" "$examples/gsoap_server.cpp" "$work"/gsoap/soap*.cpp -lgsoap++ \
    -o "$work/gsoap_server" || fail "the generated service does not build"
"$work/gsoap_server" >"$work/gsoap_port" &
pids[gsoap_server]=$!
await "$work/gsoap_port"

printf '[common]\nData=%s\nVarConfigDir=%s\n' "$work" "$work/var" >"$work/borea.conf"
printf '[cu/params/101]\nNMSServerUrl=http://127.0.0.1:%s/\n' "$(<"$work/gsoap_port")" >"$work/var/borea.conf"
printf 'http;1@1;2@3;3@3;4@1\n' >"$work/var/modacc"
granted='{"granted":true,"login":"zoe","gid":3,"group":"SuperUser","context":"http","level":3}'
session='<SessionStruct><MethodLog>m</MethodLog><UserDomain/><Login>zoe</Login><Name>n</Name><IP>i</IP>'
session+='<UserGroup>3</UserGroup><SessionStruct>zoe-1</SessionStruct></SessionStruct>'
json() { "$@" | /usr/bin/python3 -c 'import json, sys; print(json.dumps(json.load(sys.stdin), separators=(",", ":")))'; }
validate() { printf '%s' "${session/zoe-1/$1}" | "$grexctl" --config-dir "$work" --json session; }
expect "a good login" 0 "$granted" json login zoe "zoe's secret"
expect "a wrong password" 1 '{"granted":false}' json login zoe wrong
expect "a session" 0 "$granted" json validate zoe-1
expect "an unknown session" 1 '{"granted":false}' json validate zoe-2
expect "a good login at the prompt" 0 $'welcome, zoe of group SuperUser\nyou may change http' \
    "$built/login_prompt" http "$work" <<<$'zoe\nzoe\'s secret'
expect "a wrong one" 1 denied "$built/login_prompt" http "$work" <<<$'zoe\nwrong'
expect "a page for a session" 0 $'Status: 200 OK\r\nX-Group: SuperUser\r\nX-Level: 3\r\n\r' \
    "$built/session_hook" http "$work" <<<"$session"
expect "a page for another" 1 $'Status: 403 Forbidden\r\n\r' "$built/session_hook" http "$work" <<<"${session/zoe-1/zoe-2}"
expect "the groups in C" 0 "$([[ ! -e /opt/borea/etc && ! -e /var/opt/borea/etc ]] || "$built/group_list")" "$built/group_list"
if ((EUID == 0)); then
    expect "a daemon" 0 "running as user 1234 of group 1234, with the capabilities"$'\nCapInh:\t0000000000000000\nCapPrm:\t0000000000000000\nCapEff:\t0000000000000000' "$built/drop_identity" 1234 1234
    expect "a daemon without rights" 1 "" setpriv --bounding-set=-setuid,-setgid "$built/drop_identity" 1234 1234
fi
kill "${pids[gsoap_server]}"
wait "${pids[gsoap_server]}" || true
expect "a login without the service" 0 "$granted" json login zoe "zoe's tag"
echo "interop: passed"
