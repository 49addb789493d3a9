<?php
// Document/literal wrapped echo service for `php -S 127.0.0.1:PORT router.php`, PHP's SoapServer
// in WSDL mode.
//
// Environment (set by tests/peers/start):
//   CORVANE_PEER_MODE  "soap12": serve echo_soap12.wsdl (SOAP 1.2); anything else echo_doclit.wsdl.
//   CORVANE_PEER_PORT  the port clients reach this server on; written into the WSDL served at
//                      /?wsdl (and at /echo_doclit.wsdl or /echo_soap12.wsdl).
//
// echoString with the text "raise-fault" answers the WSDL's fault echoFault (code 42, message
// "raise-fault") with faultcode Server and faultstring "Fault raised on request".

ini_set('soap.wsdl_cache_enabled', '0');
ini_set('display_errors', '0');

$soap12 = getenv('CORVANE_PEER_MODE') === 'soap12';
$wsdlName = $soap12 ? 'echo_soap12.wsdl' : 'echo_doclit.wsdl';
$wsdlPath = __DIR__ . '/' . $wsdlName;

// Wrapped operations: the request wrapper's children arrive as the properties of one object, and
// the answer is the response wrapper's children by name.
class Echo_
{
    public function echoString($request)
    {
        if ($request->text === 'raise-fault') {
            throw new SoapFault('Server', 'Fault raised on request', null,
                                (object)['code' => 42, 'message' => 'raise-fault'], 'echoFault');
        }
        return ['return' => $request->text];
    }
    public function echoInt($request) { return ['return' => $request->value]; }
    public function echoItem($request) { return ['return' => $request->item]; }
    public function echoItems($request) { return ['return' => $request->items]; }
    public function echoStrings($request)
    {
        return ['return' => $request->value ?? []];
    }
    public function echoNillable($request) { return ['return' => $request->value]; }
}

$method = $_SERVER['REQUEST_METHOD'] ?? 'GET';
$path = parse_url($_SERVER['REQUEST_URI'] ?? '/', PHP_URL_PATH);
$query = $_SERVER['QUERY_STRING'] ?? '';

if ($method === 'GET') {
    if (strcasecmp($query, 'wsdl') === 0 || $path === '/' . $wsdlName) {
        $port = getenv('CORVANE_PEER_PORT') ?: $_SERVER['SERVER_PORT'];
        $text = preg_replace('/(<soap(?:12)?:address\s+location=")[^"]*(")/',
                             '${1}http://127.0.0.1:' . $port . '/echo${2}',
                             file_get_contents($wsdlPath), 1);
        header('Content-Type: text/xml; charset=utf-8');
        echo $text;
        return true;
    }
    http_response_code(404);
    header('Content-Type: text/plain');
    echo "Not found\n";
    return true;
}

$server = new SoapServer($wsdlPath, ['cache_wsdl' => WSDL_CACHE_NONE,
                                     'soap_version' => $soap12 ? SOAP_1_2 : SOAP_1_1,
                                     'features' => SOAP_SINGLE_ELEMENT_ARRAYS]);
$server->setClass('Echo_');
$server->handle();
return true;
