<?php
// Round 2 base echo service for `php -S 127.0.0.1:PORT router.php`, PHP's SoapServer in WSDL mode.
//
// Environment (set by tests/peers/start):
//   CORVANE_PEER_MODE  "ssl": use round2_base_ssl.wsdl, whose CheckSSL operation answers 1;
//                      "groupb": use round2_groupB.wsdl (echoStructAsSimpleTypes and the rest);
//                      anything else: the plain round2_base.wsdl, which has no CheckSSL.
//   CORVANE_PEER_PORT  the port clients reach this server on (a front may sit before it); written
//                      into the soap:address of the WSDL served at /?wsdl.
//
// echoString with the input "raise-fault" throws a SoapFault with code, string, actor and detail.

ini_set('soap.wsdl_cache_enabled', '0');
ini_set('display_errors', '0');

const FAULT_TRIGGER = 'raise-fault';
const SOAPINTEROP_NS = 'http://soapinterop.org/';
const SOAPINTEROP_XSD_NS = 'http://soapinterop.org/xsd';

$mode = getenv('CORVANE_PEER_MODE');
$wsdlName = ['ssl' => 'round2_base_ssl.wsdl', 'groupb' => 'round2_groupB.wsdl'][$mode]
    ?? 'round2_base.wsdl';
$wsdlPath = $mode === 'ssl' ? __DIR__ . '/' . $wsdlName
                            : dirname(__DIR__, 2) . '/data/wsdl/' . $wsdlName;
$endpoint = $mode === 'groupb' ? 'round2_groupB.inc' : 'round2_base.inc';

class Round2Base
{
    public function echoString($inputString)
    {
        if ($inputString === FAULT_TRIGGER) {
            // A named SoapVar given as the detail itself would replace the <detail> element;
            // wrapped in an object it becomes the one entry inside <detail>.
            $entry = new SoapVar(
                (object)['varString' => FAULT_TRIGGER, 'varInt' => 42, 'varFloat' => 0.5],
                SOAP_ENC_OBJECT, 'SOAPStruct', SOAPINTEROP_XSD_NS, 'faultDetail', SOAPINTEROP_NS);
            throw new SoapFault('Server', 'Fault raised on request', 'http://127.0.0.1/peer-actor',
                                (object)['faultDetail' => $entry]);
        }
        return $inputString;
    }
    public function echoStringArray($a) { return $a; }
    public function echoInteger($i) { return $i; }
    public function echoIntegerArray($a) { return $a; }
    public function echoFloat($f) { return $f; }
    public function echoFloatArray($a) { return $a; }
    public function echoStruct($s) { return $s; }
    public function echoStructArray($a) { return $a; }
    public function echoVoid() { return null; }
    public function echoBase64($b) { return $b; }
    public function echoDate($d) { return $d; }
    public function echoHexBinary($h) { return $h; }
    public function echoDecimal($d) { return $d; }
    public function echoBoolean($b) { return $b; }
    public function CheckSSL() { return 1; }
}

class Round2GroupB
{
    // Several output parts: SoapServer takes them from an array keyed by part name.
    public function echoStructAsSimpleTypes($s)
    {
        return ['outputString' => $s->varString, 'outputInteger' => $s->varInt,
                'outputFloat' => $s->varFloat];
    }
    public function echoSimpleTypesAsStruct($string, $integer, $float)
    {
        return (object)['varString' => $string, 'varInt' => $integer, 'varFloat' => $float];
    }
    public function echo2DStringArray($a) { return $a; }
    public function echoNestedStruct($s) { return $s; }
    public function echoNestedArray($s) { return $s; }
}

$method = $_SERVER['REQUEST_METHOD'] ?? 'GET';
$path = parse_url($_SERVER['REQUEST_URI'] ?? '/', PHP_URL_PATH);
$query = $_SERVER['QUERY_STRING'] ?? '';

if ($method === 'GET') {
    if (strcasecmp($query, 'wsdl') === 0 || $path === '/' . $wsdlName) {
        // SoapServer would send the file unchanged, relative address included; clients that load
        // the WSDL from here need the address of this very server instead.
        $port = getenv('CORVANE_PEER_PORT') ?: $_SERVER['SERVER_PORT'];
        $text = preg_replace('/(<soap:address\s+location=")[^"]*(")/',
                             '${1}http://127.0.0.1:' . $port . '/' . $endpoint . '${2}',
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

$server = new SoapServer($wsdlPath, ['cache_wsdl' => WSDL_CACHE_NONE]);
$server->setClass($mode === 'groupb' ? 'Round2GroupB' : 'Round2Base');
$server->handle();
return true;
