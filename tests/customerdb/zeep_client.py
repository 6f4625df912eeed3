# SPDX-License-Identifier: Apache-2.0
"""Calls the example service as a client made from the contract that it serves itself."""
import re
import sys

import requests
import zeep

URL = sys.argv[1]
LOGIN, PASSWORD, TAG = sys.argv[2:5]
NAMESPACE = "http://borea.example/customerdb"


def expect(what, got, wanted):
    if got != wanted:
        sys.exit(f"zeep: {what}: got {got!r}, wanted {wanted!r}")


service = zeep.Client(URL + "?wsdl").service

granted = service.OpenSession(LOGIN, PASSWORD)
session = granted.SessionStruct
expect("code of a good login", granted.OpenSessionResult.ResultCode, 0)
expect("session", (session.Login, session.Name, session.IP, session.UserGroup),
       (LOGIN, "Ann <& Co>", "127.0.0.1", "2"))
expect("session id", bool(re.fullmatch("[0-9a-f]{32}", session.SessionStruct)), True)

info = service.GetUserInfo(session)
expect("code of a session", info.GetUserInfoResult.ResultCode, 0)
expect("user", (info.UserInfo.ID, info.UserInfo.Group, info.UserInfo.Login, info.UserInfo.Tag),
       (101, 2, LOGIN, TAG))

answers = []
for login, password in ((LOGIN, PASSWORD + PASSWORD), (LOGIN, ""), ("no\none", PASSWORD)):
    refused = service.OpenSession(login, password)
    expect(f"session of {login!r}", refused.SessionStruct, None)
    answers.append((refused.OpenSessionResult.ResultCode, refused.OpenSessionResult.ResultDescription))
expect("refusals", answers, [(1, "wrong login or password")] * 3)

session.SessionStruct = "0" * 32
info = service.GetUserInfo(session)
expect("unknown session", (info.GetUserInfoResult.ResultCode, info.UserInfo), (2, None))

# What no generated client sends: {body, status, a text of the answer}.
ENVELOPE = '<s:Envelope xmlns:s="http://schemas.xmlsoap.org/soap/envelope/"><s:Body>%s</s:Body></s:Envelope>'
CALL = "<OpenSession xmlns='%s'><Login>a</Login><Password/></OpenSession>"
for body, status, text in (
        ("<s:Envelope", 500, "not well-formed"),
        ("<!DOCTYPE s:Envelope>" + ENVELOPE % CALL % NAMESPACE, 500, "document type"),
        (ENVELOPE % CALL % "urn:other", 500, "unknown operation"),
        (ENVELOPE % CALL % NAMESPACE + " " * 65536, 413, "too large"),
        (iter([b" " * 65537]), 413, "too large"),  # in chunks, without a length
        (ENVELOPE % CALL % NAMESPACE, 200, "<ResultCode>1</ResultCode>")):
    answer = requests.post(URL, data=body, headers={"Content-Type": "text/xml"}, timeout=20)
    expect(f"status of {body!r:.60}", answer.status_code, status)
    expect(f"text of {body!r:.60}", text in answer.text, True)
