// SPDX-License-Identifier: Apache-2.0
#include "grex/http/service_response_parser.h"

#include "common/stl/no_throw.h"
#include "common/stl/sx.h"
#include "common/stl/translate.h"
#include "grex/http/http_service.h"

#include <algorithm>
#include <libxml/parser.h>
#include <libxml/xpathInternals.h>
#include <map>
#include <utility>
#include <vector>

namespace grex::http {

const char* const ServiceResponseParser::nslist_[] = {"i", GREX_SERVICE_NAMESPACE, nullptr};

namespace {

constexpr char prefix[] = "grex::http::ServiceResponseParser|";
constexpr unsigned success = 0;
constexpr unsigned refused = 1;
constexpr unsigned notUnderstood = 3;
constexpr std::size_t maxText = 1U << 20; // bytes

const xmlChar* xmlText(const std::string& text)
{
    return reinterpret_cast<const xmlChar*>(text.c_str());
}

std::string plain(const xmlChar* text)
{
    return text ? reinterpret_cast<const char*>(text) : std::string();
}

// The names, without their prefixes, and texts of the element nodes of a set, in its order.
std::vector<std::pair<std::string, std::string>> elementsOf(const xmlXPathObject* nodes)
{
    std::vector<std::pair<std::string, std::string>> elements;
    if (!nodes || !nodes->nodesetval)
        return elements;
    for (int i = 0; i < nodes->nodesetval->nodeNr; ++i) {
        xmlNode* const node = nodes->nodesetval->nodeTab[i];
        if (node->type != XML_ELEMENT_NODE)
            continue;
        const XmlPtr<xmlChar> text(xmlNodeGetContent(node));
        elements.emplace_back(plain(node->name), plain(text.get()));
    }
    return elements;
}

// libxml2 compares each attribute of an element with all others, which for those that fit into one
// text would take up to a minute. A tag is therefore looked at when more than this of it has come
// in.
constexpr std::ptrdiff_t longTag = 1 << 16; // bytes
constexpr std::ptrdiff_t maxAttributes = 4096;
constexpr std::size_t pieceSize = 4096; // bytes

// Whether the parser waits for the end of a tag with too many attributes.
bool isOverloaded(const xmlParserCtxt& parser)
{
    const xmlChar* const tag = parser.input->cur;
    const xmlChar* const end = parser.input->end;
    return end - tag > longTag && tag[0] == '<' && tag[1] != '!' && tag[1] != '?' &&
           std::count(tag, end, '=') > maxAttributes;
}

// Feeds the whole text, or up to where it is broken. What libxml2 answers counts warnings, too.
bool feed(xmlParserCtxt& parser, const std::string& xml)
{
    for (std::size_t at = 0; at < xml.size() && parser.wellFormed != 0; at += pieceSize) {
        const auto length = static_cast<int>(std::min(pieceSize, xml.size() - at));
        xmlParseChunk(&parser, xml.data() + at, length, 0);
        if (isOverloaded(parser))
            return false;
    }
    xmlParseChunk(&parser, nullptr, 0, 1);
    return parser.wellFormed != 0;
}

// Null for a text that is not well-formed.
XmlPtr<xmlDoc> parse(const std::string& xml)
{
    const XmlPtr<xmlParserCtxt> parser(
        xmlCreatePushParserCtxt(nullptr, nullptr, nullptr, 0, nullptr));
    if (!parser)
        return nullptr;
    xmlCtxtUseOptions(parser.get(), XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
    const bool isSound = feed(*parser, xml);
    XmlPtr<xmlDoc> doc(std::exchange(parser->myDoc, nullptr));
    return isSound ? std::move(doc) : nullptr;
}

bool hasNodes(const xmlXPathObject* nodes)
{
    return nodes && !xmlXPathNodeSetIsEmpty(nodes->nodesetval);
}

} // namespace

ServiceResponseParser::ServiceResponseParser() = default;

ServiceResponseParser::~ServiceResponseParser()
{
    clear(); // the context before the document that it works on
}

unsigned ServiceResponseParser::status() const
{
    return status_;
}

const std::string& ServiceResponseParser::error() const
{
    return error_;
}

void ServiceResponseParser::clear()
{
    context_.reset();
    doc_.reset();
}

bool ServiceResponseParser::fail(unsigned status, const std::string& text)
{
    status_ = status;
    error_ = text;
    return false;
}

bool ServiceResponseParser::parseContent(const std::string& xml)
{
    return sx::noThrow(false, [&] {
        clear();
        status_ = notUnderstood; // also where memory is out
        if (xml.empty())
            return fail(notUnderstood, translate(prefix, "unable to parse xml: content is empty"));
        if (xml.size() <= maxText)
            doc_ = parse(xml);
        if (!doc_ || doc_->intSubset)
            return fail(notUnderstood, translate(prefix, "unable to parse xml content"));
        context_.reset(xmlXPathNewContext(doc_.get()));
        if (!context_)
            return fail(notUnderstood, translate(prefix, "unable to create new XPath context"));
        // Without a handler libxml2 writes to standard error. Its last parameter became const in
        // libxml2 2.12.
        context_->error = [](void*, auto*) {};
        status_ = success;
        return true;
    });
}

bool ServiceResponseParser::registerNamespaces(xmlXPathContext* context)
{
    return sx::noThrow(false, [&] {
        for (const char* const* pair = nslist_; *pair; pair += 2) {
            if (xmlXPathRegisterNs(context, xmlText(pair[0]), xmlText(pair[1])) == 0)
                continue;
            return fail(
                notUnderstood,
                sx::sprintf(
                    translate(prefix, "unable to register NS with prefix='%s' and href='%s'"),
                    pair[0], pair[1]));
        }
        return true;
    });
}

xmlXPathObject* ServiceResponseParser::executeXPathExpr(const std::string& expr)
{
    return sx::noThrow<xmlXPathObject*>(nullptr, [&]() -> xmlXPathObject* {
        if (expr.empty()) {
            fail(notUnderstood, translate(prefix, "xpath expression is empty"));
            return nullptr;
        }
        xmlXPathObject* const nodes =
            context_ ? xmlXPathEvalExpression(xmlText(expr), context_.get()) : nullptr;
        if (!nodes)
            fail(notUnderstood,
                 sx::sprintf(translate(prefix, "unable to evaluate xpath expression '%s'"),
                             expr.c_str()));
        return nodes;
    });
}

bool ServiceResponseParser::parseResult(xmlXPathObject* nodes)
{
    return sx::noThrow(false, [&] {
        status_ = notUnderstood;
        std::string description;
        for (const auto& [name, text] : elementsOf(nodes)) {
            if (name == "ResultDescription")
                description = text;
            if (name != "ResultCode")
                continue;
            int code = 0;
            if (!sx::fromString(text, code, 10))
                break;
            status_ = code == 0 ? success : refused;
            if (status_ == success)
                return true;
        }
        if (status_ == refused) {
            const std::string text = translate(prefix, "server authentication fail");
            return fail(refused, description.empty() ? text : text + ": " + description);
        }
        return fail(notUnderstood,
                    hasNodes(nodes)
                        ? translate(prefix, "xml error: unknown service result format")
                        : translate(prefix, "xml error: service result nodes is not found"));
    });
}

bool ServiceResponseParser::parseSession(xmlXPathObject* nodes, Session& session)
{
    return sx::noThrow(false, [&] {
        status_ = notUnderstood;
        if (!hasNodes(nodes))
            return fail(notUnderstood, translate(prefix, "xml error: session nodes is not found"));
        Session read;
        const std::map<std::string, std::string*> fields = {{"MethodLog", &read.MethodLog},
                                                            {"UserDomain", &read.UserDomain},
                                                            {"Login", &read.Login},
                                                            {"Name", &read.Name},
                                                            {"IP", &read.IP},
                                                            {"UserGroup", &read.UserGroup},
                                                            {"SessionStruct", &read.SessionStruct}};
        for (const auto& [name, text] : elementsOf(nodes)) {
            const auto field = fields.find(name);
            if (field != fields.end())
                *field->second = text;
        }
        for (const auto& [name, text] : fields)
            if (text->empty() && text != &read.UserDomain)
                return fail(notUnderstood,
                            translate(prefix, "parse session error: param of session is empty"));
        session = std::move(read);
        status_ = success;
        return true;
    });
}

bool ServiceResponseParser::parseUserInfo(xmlXPathObject* nodes, UserInfo& info)
{
    return sx::noThrow(false, [&] {
        status_ = notUnderstood;
        if (!hasNodes(nodes))
            return fail(notUnderstood, translate(prefix, "xml error: session nodes is not found"));
        UserInfo read;
        for (const auto& [name, text] : elementsOf(nodes)) {
            if (name == "ID")
                sx::fromString(text, read.ID, 10);
            else if (name == "Group")
                sx::fromString(text, read.Group, 10);
            else if (name == "Login")
                read.Login = text;
            else if (name == "Tag")
                read.Tag = text;
        }
        if (read.ID == 0 || read.Group == 0 || read.Login.empty() || read.Tag.empty())
            return fail(notUnderstood,
                        translate(prefix, "parse user info error: param of info is empty"));
        info = std::move(read);
        status_ = success;
        return true;
    });
}

bool ServiceResponseParser::parseSession(const std::string& text, Session& session)
{
    if (!parseContent(text))
        return false;
    const XmlPtr<xmlXPathObject> nodes = evaluate("//SessionStruct[1]/*");
    return nodes && parseSession(nodes.get(), session);
}

XmlPtr<xmlXPathObject> ServiceResponseParser::evaluate(const char* expr)
{
    status_ = notUnderstood; // until the nodes are read
    return sx::noThrow(XmlPtr<xmlXPathObject>(),
                       [&] { return XmlPtr<xmlXPathObject>(executeXPathExpr(expr)); });
}

bool ServiceResponseParser::openResponse(const std::string& response, const char* resultExpr)
{
    if (!parseContent(response))
        return false;
    status_ = notUnderstood; // until a result is read, also where memory is out
    if (!registerNamespaces(context_.get()))
        return false;
    const XmlPtr<xmlXPathObject> result = evaluate(resultExpr);
    return result && parseResult(result.get());
}

bool ServiceResponseParser::parseOpenSession(const std::string& response, Session& session)
{
    if (!openResponse(response, "//i:OpenSessionResponse[1]/i:OpenSessionResult[1]/i:*"))
        return false;
    const XmlPtr<xmlXPathObject> nodes =
        evaluate("//i:OpenSessionResponse[1]/i:SessionStruct[1]/*");
    return nodes && parseSession(nodes.get(), session);
}

bool ServiceResponseParser::parseUserInfo(const std::string& response, UserInfo& info)
{
    if (!openResponse(response, "//i:GetUserInfoResponse[1]/i:GetUserInfoResult[1]/i:*"))
        return false;
    const XmlPtr<xmlXPathObject> nodes = evaluate("//i:GetUserInfoResponse[1]/i:UserInfo[1]/*");
    return nodes && parseUserInfo(nodes.get(), info);
}

} // namespace grex::http
