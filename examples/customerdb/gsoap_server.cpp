// SPDX-License-Identifier: Apache-2.0
// A service made with gSOAP from the contract, to start one's own from; it knows one user: zoe,
// password "zoe's secret". Prints the port that it listens on, on loopback. It is built with
//
//     wsdl2h -o service.h customerdb.wsdl && soapcpp2 -S -j -L service.h
//     g++ -std=c++17 -I. gsoap_server.cpp soap*.cpp -lgsoap++
//
// Packages: gsoap, libgsoap-dev.
#include <cstdio>
#include <string>

#include "CustomerDBSoap.nsmap"
#include "soapCustomerDBSoapService.h"

namespace {

ns1__ResultRecord* result(soap* context, bool granted)
{
    ns1__ResultRecord* record = soap_new_ns1__ResultRecord(context);
    record->ResultCode = granted ? 0 : 7;
    record->ResultDescription = granted ? "" : "no such user here";
    return record;
}

} // namespace

int CustomerDBSoapService::OpenSession(_ns1__OpenSession* in, _ns1__OpenSessionResponse& out)
{
    const bool granted = in->Login == "zoe" && in->Password == "zoe's secret";
    out.OpenSessionResult = result(soap, granted);
    if (granted) {
        out.SessionStruct = soap_new_ns1__SessionRecord(soap);
        out.SessionStruct->MethodLog = "password";
        out.SessionStruct->Login = in->Login;
        out.SessionStruct->Name = "Zoe Example";
        out.SessionStruct->IP = "127.0.0.1";
        out.SessionStruct->UserGroup = "3";
        out.SessionStruct->SessionStruct = "zoe-1";
    }
    return SOAP_OK;
}

int CustomerDBSoapService::GetUserInfo(_ns1__GetUserInfo* in, _ns1__GetUserInfoResponse& out)
{
    const bool granted = in->SessionStruct->SessionStruct == "zoe-1";
    out.GetUserInfoResult = result(soap, granted);
    if (granted) {
        out.UserInfo = soap_new_ns1__UserRecord(soap);
        out.UserInfo->ID = 7;
        out.UserInfo->Group = 3;
        out.UserInfo->Login = "zoe";
        out.UserInfo->Tag = "zoe's tag";
    }
    return SOAP_OK;
}

int main()
{
    CustomerDBSoapService service;
    service.soap->recv_timeout = service.soap->send_timeout = 5;
    if (!soap_valid_socket(service.bind("127.0.0.1", 0, 10)))
        return 1;
    sockaddr_in bound{};
    socklen_t size = sizeof bound;
    getsockname(service.soap->master, reinterpret_cast<sockaddr*>(&bound), &size);
    std::printf("%d\n", ntohs(bound.sin_port));
    std::fflush(stdout);
    while (soap_valid_socket(service.accept())) {
        service.serve();
        service.destroy();
    }
    return 1;
}
