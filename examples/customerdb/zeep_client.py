#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Calls a customer-database service through zeep, which makes its client from the contract that the service serves.

    zeep_client.py URL LOGIN <PASSWORD-FILE

Opens a session and asks who its user is. Exit status 0 admitted, 1 refused. Packages: python3-zeep.
"""
import sys

import zeep


def main(url, login):
    password = sys.stdin.read().removesuffix("\n")
    service = zeep.Client(url + "?wsdl").service
    opened = service.OpenSession(login, password)
    result = opened.OpenSessionResult
    if result.ResultCode != 0:
        print(f"refused, code {result.ResultCode}: {result.ResultDescription}")
        return 1
    session = opened.SessionStruct
    print(f"session of {session.Name} from {session.IP}, group {session.UserGroup}")
    user = service.GetUserInfo(session).UserInfo
    print(f"user {user.ID} {user.Login}, group {user.Group}, tag {user.Tag}")
    session.SessionStruct += "-forged"
    forged = service.GetUserInfo(session).GetUserInfoResult
    print(f"a session that it did not open: code {forged.ResultCode}")
    return 0


sys.exit(main(*sys.argv[1:]))
