// SPDX-License-Identifier: Apache-2.0
#ifndef GREX_HTTP_SERVICE_RESPONSE_PARSER_H
#define GREX_HTTP_SERVICE_RESPONSE_PARSER_H

#include "common/stl/export.h"

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xpath.h>
#include <memory>
#include <string>

namespace grex::http {

struct Session;
struct UserInfo;

/// Frees what libxml2 hands out.
struct XmlFree {
    void operator()(xmlParserCtxt* parser) const noexcept { xmlFreeParserCtxt(parser); }
    void operator()(xmlDoc* doc) const noexcept { xmlFreeDoc(doc); }
    void operator()(xmlXPathContext* context) const noexcept { xmlXPathFreeContext(context); }
    void operator()(xmlXPathObject* object) const noexcept { xmlXPathFreeObject(object); }
    void operator()(xmlChar* text) const noexcept { xmlFree(text); }
};
template <class Handle> using XmlPtr = std::unique_ptr<Handle, XmlFree>;
static_assert(sizeof(XmlPtr<xmlDoc>) == sizeof(void*), "a handle and nothing else");

/// Reads the service's answers (SOAP 1.1) and session texts into records. Make one for each text.
/// Operations answer true, or false with a status (1 refused by the service, 3 not understood) and
/// a translated text; records are as they were then. A text of more than 1 MiB, with a document
/// type declaration, which SOAP forbids, or with a tag of more than 4,096 attributes is broken.
/// Nothing outside the text is loaded, nothing goes to standard error, nothing is thrown.
class GREX_API ServiceResponseParser {
public:
    ServiceResponseParser();
    ~ServiceResponseParser();

    /// 0, 1 or 3.
    unsigned status() const;
    const std::string& error() const;

    /// Frees the document.
    void clear();

    /// Takes a document; the operations below work on it.
    bool parseContent(const std::string& xml);
    bool registerNamespaces(xmlXPathContext* context);
    /// The result is the caller's, to be freed with xmlXPathFreeObject(); null when it failed.
    xmlXPathObject* executeXPathExpr(const std::string& expr);

    /// The elements "ResultCode" and "ResultDescription" of a node set: true when a code is 0.
    bool parseResult(xmlXPathObject* nodes);
    /// The elements of a node set that bear the names of the record's fields. All but `UserDomain`
    /// must be there, non-empty and, where they are numbers, not 0.
    bool parseSession(xmlXPathObject* nodes, Session& session);
    bool parseUserInfo(xmlXPathObject* nodes, UserInfo& info);

    /// A text whose first "SessionStruct" element, in no namespace, holds the record.
    bool parseSession(const std::string& text, Session& session);
    /// Whole answers of the two operations.
    bool parseOpenSession(const std::string& response, Session& session);
    bool parseUserInfo(const std::string& response, UserInfo& info);

    /// Prefix and URI by turns, null at the end.
    static const char* const nslist_[];

private:
    bool fail(unsigned status, const std::string& text);
    XmlPtr<xmlXPathObject> evaluate(const char* expr);
    bool openResponse(const std::string& response, const char* resultExpr);

    XmlPtr<xmlDoc> doc_;
    XmlPtr<xmlXPathContext> context_; // on doc_
    unsigned status_ = 0;
    std::string error_;
};

} // namespace grex::http

#endif
