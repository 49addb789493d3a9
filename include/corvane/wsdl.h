// Reading WSDL 1.1 service descriptions and asking them questions.
#ifndef CORVANE_WSDL_H
#define CORVANE_WSDL_H

#include <corvane/types.h>
#include <corvane/wire.h>

#include <memory>

class WMSOAPWSDLDesc;
class WMSOAPBindingHandler;
class WMMessageHandler;
class WMOperationHandler;

namespace corvane::detail {
struct ImportChain;
}

// Loads one WSDL document (a file or an HTTP resource) and owns the parsed description.
// Copies share the description; it lives as long as the last object that refers to it.
class CORVANE_API WMWSDLParser {
public:
    WMWSDLParser();
    WMWSDLParser(const WMWSDLParser& other);
    WMWSDLParser& operator=(const WMWSDLParser& other);
    virtual ~WMWSDLParser();

    const WMSOAPWSDLDesc* GetWSDLDesc() const;
    const WMString& GetDocBase();
    void SetDocBase(const WMString& docBase);

    bool LoadAndParseWSDLFile(const WMString& path);
    bool GetAndParseWSDLFile(const WMString& host, const WMString& uri, const WMString& userAgent,
                             const WMString& headers, int port, unsigned long timeout);

    // Why the last load failed: the category and message of the description fault that ended
    // it, or a category of the loader's own ("File Error", "HTTP Error", "XML Parse Error")
    // with a message naming the cause. Both are empty after a successful load.
    const WMString& GetLoadErrorCategory() const;
    const WMString& GetLoadErrorMessage() const;

protected:
    void SetLoadError(const WMString& category, const WMString& message);
    // Changes with every load, so that what is derived from a description can be cached.
    unsigned long GetLoadGeneration() const { return m_loadGeneration; }

private:
    friend class WMSOAPWSDLClient;
    friend class WMSOAPWSDLImporter;
    friend class WMDefinitionsHandler;

    bool ParseWSDLText(const WMString& text);

    std::shared_ptr<WMSOAPWSDLDesc> m_desc;
    WMString m_docBase;
    WMString m_loadErrorCategory;
    WMString m_loadErrorMessage;
    // The chain of documents whose imports led to this load; null for a top-level load.
    const corvane::detail::ImportChain* m_importChain = nullptr;
    unsigned long m_loadGeneration = 0;
};

// A WSDL description together with the service and port chosen from it, the endpoint of that
// port and the HTTP settings used to fetch documents. This is the query interface of the SOAP
// layer; every query returns false when the description or anything on its path is missing.
class CORVANE_API WMSOAPWSDLClient : public WMWSDLParser {
public:
    WMSOAPWSDLClient();
    WMSOAPWSDLClient(const WMSOAPWSDLClient& other);
    WMSOAPWSDLClient& operator=(const WMSOAPWSDLClient& other);
    ~WMSOAPWSDLClient() override;

    bool ReadServiceDesc(const WMString& serviceName, const WMString& portName,
                         const WMString& location);

    const WMString& GetSOAPSvcHost();
    const WMString& GetSOAPSvcURI();
    int GetSOAPSvcPortNbr() const;
    void SetSOAPSvcPortNbr(int port);
    int GetSSLEnabled() const;
    void SetSSLEnabled(int enabled);
    const WMString& GetUserAgent();
    void SetUserAgent(const WMString& userAgent);
    void SetHTTPTimeout(int milliseconds);
    void SetHTTPHeaders(const WMString& headers);
    const WMString& GetDefinitionsTNS() const;

    // Extension: the standard wire mode (see <corvane/wire.h>) for the following loads. With it
    // on, "http://" and "https://" locations are fetched over HTTP/1.1 with
    // the options' verified TLS, redirects, authentication and proxy, and with this object's
    // user agent, headers and time-out (imports too; their credentials only for the scheme, host
    // and port of the document named here). The answer is decoded by its byte-order mark, its
    // Content-Type charset or the XML declaration's encoding, else as UTF-8. The endpoint is the
    // chosen port's soap:address also for a description fetched over HTTP, its scheme choosing
    // TLS ("https://" gives the TLS flag 1 and port 443 unless the address names one).
    void SetWireOptions(const WMWireOptions& options);
    const WMWireOptions& GetWireOptions() const;
    // Extension: the endpoint's whole location, from which host, port and URI were split.
    const WMString& GetSOAPSvcLocation() const;

    // Binding queries.
    bool GetMethodSOAPAction(const WMString& operation, WMString& soapAction);
    bool GetMethodNamespaceURI(const WMString& operation, WMString& namespaceURI);
    bool GetSOAPInputBodyUse(const WMString& operation, WMString& use);
    bool GetSOAPOutputBodyUse(const WMString& operation, WMString& use);
    bool GetSOAPInputBodyEncStyle(const WMString& operation, WMString& encodingStyle);
    bool GetSOAPOutputBodyEncStyle(const WMString& operation, WMString& encodingStyle);
    bool GetSOAPBindingStyle(WMString& style);
    bool GetSOAPBindingTransport(WMString& transport);
    bool GetOpBindingStyle(const WMString& operation, WMString& style);
    bool GetOpNamesBySOAPAction(const WMString& soapAction, WMString& operation,
                                WMString& namespaceURI);

    // Message and parameter queries. Types are (local name, namespace URI).
    bool GetInputMsgPartType(const WMString& operation, const WMString& part, WMString& typeName,
                             WMString& typeNS) const;
    bool GetOutputMsgPartType(const WMString& operation, const WMString& part, WMString& typeName,
                              WMString& typeNS) const;
    bool GetOperationReturnType(const WMString& operation, const WMString& part, WMString& typeName,
                                WMString& typeNS);
    bool IsInputMsgPart(const WMString& operation, const WMString& part);
    bool IsOutputMsgPart(const WMString& operation, const WMString& part);
    bool GetFirstInParamName(const WMString& operation, WMString& name, long& index);
    bool GetNextInParamName(const WMString& operation, WMString& name, long& index);
    bool GetFirstOutParamName(const WMString& operation, WMString& name, long& index);
    bool GetNextOutParamName(const WMString& operation, WMString& name, long& index);
    bool IsOperationParam(const WMString& operation, const WMString& part);
    bool GetOperationParamIndex(const WMString& operation, const WMString& part, long* index);
    bool GetInputHeaderPartType(const WMString& operation, const WMString& part,
                                const WMString& namespaceURI, WMString& typeName, WMString& typeNS);
    bool GetOutputHeaderPartType(const WMString& operation, const WMString& part,
                                 const WMString& namespaceURI, WMString& typeName,
                                 WMString& typeNS);
    bool GetInHeaderFaultPartType(const WMString& operation, const WMString& part,
                                  const WMString& namespaceURI, WMString& typeName,
                                  WMString& typeNS);
    bool GetOutHeaderFaultPartType(const WMString& operation, const WMString& part,
                                   const WMString& namespaceURI, WMString& typeName,
                                   WMString& typeNS);
    bool GetFaultDetailPartType(const WMString& operation, const WMString& fault,
                                const WMString& part, WMString& typeName, WMString& typeNS);

    // Schema queries.
    bool GetArrayType(const WMString& typeName, const WMString& typeNS, WMString& itemTypeName,
                      WMString& itemTypeNS) const;
    bool GetArrayDims(const WMString& typeName, const WMString& typeNS, unsigned int& dims);
    bool GetComplexBaseType(const WMString& typeName, const WMString& typeNS,
                            WMString& baseTypeName, WMString& baseTypeNS);
    bool GetHeaderElemType(const WMString& elementName, const WMString& elementNS,
                           WMString& typeName, WMString& typeNS);
    bool GetFirstStructMember(const WMString& typeName, const WMString& typeNS,
                              WMString& memberName, WMString& memberNS, WMString& memberTypeName,
                              WMString& memberTypeNS, long& index);
    bool GetNextStructMember(const WMString& typeName, const WMString& typeNS, WMString& memberName,
                             WMString& memberNS, WMString& memberTypeName, WMString& memberTypeNS,
                             long& index);
    bool GetStructMemberType(const WMString& typeName, const WMString& typeNS,
                             const WMString& memberName, const WMString& memberNS,
                             WMString& memberTypeName, WMString& memberTypeNS);

protected:
    const WMSOAPBindingHandler* GetSOAPBinding() const;
    const WMMessageHandler* GetInputMessage(const WMString& operation) const;
    const WMMessageHandler* GetOutputMessage(const WMString& operation) const;
    // Fetches and parses the document of a location holding "http://" (or, in the standard
    // mode, starting with "https://") with this object's HTTP settings.
    bool FetchHttpLocation(const WMString& location);
    bool IsHttpLocation(const WMString& location) const;
    // The standard mode's fetch settings of the client whose load imports `location`; the
    // credentials stay behind when the import lives on another scheme, host or port.
    void TakeFetchSettings(const WMSOAPWSDLClient& from, const WMString& location);

private:
    const WMOperationHandler* GetPortTypeOperation(const WMString& operation) const;
    bool StructMemberAt(const WMString& typeName, const WMString& typeNS, long index,
                        WMString& memberName, WMString& memberNS, WMString& memberTypeName,
                        WMString& memberTypeNS) const;
    void SplitEndpoint();
    bool ChosenPortAddress();
    bool FetchStandard(const WMString& location);

    WMWireOptions m_wire;
    WMString m_userAgent;
    WMString m_httpHeaders;
    int m_httpTimeout;
    WMString m_serviceName;
    WMString m_portName;
    WMString m_endpointLocation;
    WMString m_svcHost;
    WMString m_svcURI;
    int m_svcPortNbr;
    int m_sslEnabled;
    // The binding of the chosen port, found once per load: every binding query starts there.
    mutable const WMSOAPBindingHandler* m_bindingCache = nullptr;
    mutable const WMSOAPWSDLDesc* m_bindingCacheDesc = nullptr;
    mutable unsigned long m_bindingCacheGeneration = 0;
    mutable bool m_bindingCached = false;
};

// Reads a document named by an `import` element: no service or port is chosen and no endpoint
// derived. A location without ":" is relative to the given document base.
class CORVANE_API WMSOAPWSDLImporter : public WMSOAPWSDLClient {
public:
    WMSOAPWSDLImporter();
    WMSOAPWSDLImporter(const WMSOAPWSDLImporter& other);
    WMSOAPWSDLImporter& operator=(const WMSOAPWSDLImporter& other);
    ~WMSOAPWSDLImporter() override;

    bool ReadServiceDesc(const WMString& location, const WMString& docBase);
};

#endif
