// SPDX-License-Identifier: Apache-2.0
#include "soap_messages.h"

#include <cstring>
#include <initializer_list>
#include <memory>
#include <utility>

#include <libxml/parser.h>
#include <libxml/tree.h>

#include "contract.h"

namespace customerdb {

namespace {

constexpr char envelopeNamespace[] = "http://schemas.xmlsoap.org/soap/envelope/";

struct XmlFree {
    void operator()(xmlDoc* doc) const noexcept { xmlFreeDoc(doc); }
    void operator()(xmlChar* text) const noexcept { xmlFree(text); }
};
template <class Handle> using XmlPtr = std::unique_ptr<Handle, XmlFree>;

bool equals(const xmlChar* text, const char* expected)
{
    return text != nullptr && std::strcmp(reinterpret_cast<const char*>(text), expected) == 0;
}

bool isElement(const xmlNode* node, const char* name, const char* ns)
{
    return node != nullptr && node->ns != nullptr && equals(node->ns->href, ns) &&
           equals(node->name, name);
}

// The child of the service namespace; a request without it is a fault.
xmlNode* child(xmlNode* parent, const char* name)
{
    xmlNode* node = xmlFirstElementChild(parent);
    while (node != nullptr && !isElement(node, name, serviceNamespace))
        node = xmlNextElementSibling(node);
    if (node == nullptr)
        throw Fault("Client", std::string(name) + " is missing");
    return node;
}

std::string childText(xmlNode* parent, const char* name)
{
    const XmlPtr<xmlChar> text(xmlNodeGetContent(child(parent, name)));
    return text ? reinterpret_cast<const char*>(text.get()) : "";
}

XmlPtr<xmlDoc> parseDocument(const std::string& xml)
{
    constexpr int options = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;
    XmlPtr<xmlDoc> doc(
        xmlReadMemory(xml.data(), static_cast<int>(xml.size()), nullptr, nullptr, options));
    if (!doc)
        throw Fault("Client", "the request is not well-formed XML");
    if (doc->intSubset != nullptr)
        throw Fault("Client", "a document type declaration is not allowed");
    return doc;
}

void refuseMandatoryHeaders(xmlNode* header)
{
    for (xmlNode* n = xmlFirstElementChild(header); n != nullptr; n = xmlNextElementSibling(n)) {
        const auto* name = reinterpret_cast<const xmlChar*>("mustUnderstand");
        const auto* ns = reinterpret_cast<const xmlChar*>(envelopeNamespace);
        const XmlPtr<xmlChar> value(xmlGetNsProp(n, name, ns));
        if (equals(value.get(), "1"))
            throw Fault("MustUnderstand", "a mandatory header is not understood");
    }
}

// The element within the body that names the operation, null in an empty body.
xmlNode* operationOf(xmlDoc* doc)
{
    xmlNode* envelope = xmlDocGetRootElement(doc);
    if (!isElement(envelope, "Envelope", envelopeNamespace))
        throw Fault("VersionMismatch", "the request is not a SOAP 1.1 envelope");
    xmlNode* node = xmlFirstElementChild(envelope);
    if (isElement(node, "Header", envelopeNamespace)) {
        refuseMandatoryHeaders(node);
        node = xmlNextElementSibling(node);
    }
    if (!isElement(node, "Body", envelopeNamespace))
        throw Fault("Client", "the envelope has no body");
    return xmlFirstElementChild(node);
}

std::string escaped(const std::string& text)
{
    std::string result;
    for (const char c : text) {
        switch (c) {
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        case '"':
            result += "&quot;";
            break;
        default:
            result += c;
        }
    }
    return result;
}

using Fields = std::initializer_list<std::pair<const char*, std::string>>;

std::string element(const std::string& name, const std::string& content)
{
    return "<" + name + ">" + content + "</" + name + ">";
}

std::string record(const char* name, const Fields& fields)
{
    std::string content;
    for (const auto& [field, text] : fields)
        content += element(field, escaped(text));
    return element(name, content);
}

std::string envelope(const std::string& body)
{
    return std::string("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<s:Envelope xmlns:s=\"") +
           envelopeNamespace + "\">" + element("s:Body", body) + "</s:Envelope>\n";
}

// `details` is the record that a granted request gets.
std::string response(const std::string& operation, int code, const std::string& description,
                     const std::string& details)
{
    const std::string resultName = operation + "Result";
    const std::string name = operation + "Response";
    return envelope("<" + name + " xmlns=\"" + serviceNamespace + "\">" +
                    record(resultName.c_str(), {{"ResultCode", std::to_string(code)},
                                                {"ResultDescription", description}}) +
                    details + "</" + name + ">");
}

} // namespace

Request parseRequest(const std::string& xml)
{
    const XmlPtr<xmlDoc> doc = parseDocument(xml);
    xmlNode* operation = operationOf(doc.get());
    if (isElement(operation, "OpenSession", serviceNamespace))
        return OpenSession{childText(operation, "Login"), childText(operation, "Password")};
    if (isElement(operation, "GetUserInfo", serviceNamespace))
        return GetUserInfo{childText(child(operation, "SessionStruct"), "SessionStruct")};
    throw Fault("Client", "unknown operation or namespace");
}

std::string sessionAnswer(const User& user, const std::string& sessionId, const std::string& peer)
{
    return response("OpenSession", 0, "success",
                    record("SessionStruct", {{"MethodLog", "password"},
                                             {"UserDomain", ""},
                                             {"Login", user.login},
                                             {"Name", user.name},
                                             {"IP", peer},
                                             {"UserGroup", std::to_string(user.group)},
                                             {"SessionStruct", sessionId}}));
}

std::string sessionRefusal(int code, const std::string& reason)
{
    return response("OpenSession", code, reason, "");
}

std::string userInfoAnswer(const User& user)
{
    return response("GetUserInfo", 0, "success",
                    record("UserInfo", {{"ID", std::to_string(user.id)},
                                        {"Group", std::to_string(user.group)},
                                        {"Login", user.login},
                                        {"Tag", user.tag}}));
}

std::string userInfoRefusal(int code, const std::string& reason)
{
    return response("GetUserInfo", code, reason, "");
}

std::string faultAnswer(const Fault& fault)
{
    return envelope(
        record("s:Fault", {{"faultcode", "s:" + fault.code()}, {"faultstring", fault.what()}}));
}

std::string wsdlFor(const std::string& host)
{
    static const std::string start = "<soap:address location=\"";
    std::string text = wsdlText;
    const std::size_t from = text.find(start) + start.size();
    return text.replace(from, text.find('"', from) - from, "http://" + escaped(host) + "/");
}

} // namespace customerdb
