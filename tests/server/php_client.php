<?php
// PHP SoapClient (WSDL mode) against the interop server: every operation of both round 2 suites,
// then the fault paths. Usage: php php_client.php BASE_URL WSDL_DIR
// The expected values are what the server really answers; docs/interop.md explains each one
// that differs from the value sent.

$base = $argv[1];
$wsdlDir = $argv[2];
$passed = 0;
$failed = 0;

function check($what, $expected, $actual) {
    global $passed, $failed;
    // JSON keeps the difference between the text '5' and the number 5, and compares objects by
    // value.
    if (json_encode($expected) === json_encode($actual)) {
        $passed++;
    } else {
        $failed++;
        echo "FAIL $what: expected ", var_export($expected, true), ", got ",
            var_export($actual, true), "\n";
    }
}

// A client that can tamper with the request text or its SOAPAction before they are sent.
class TamperingClient extends SoapClient {
    public $tamper = null;
    public $action = null;
    public function __doRequest($request, $location, $action, $version, $oneWay = false): ?string {
        if ($this->tamper !== null) {
            $request = ($this->tamper)($request);
        }
        if ($this->action !== null) {
            $action = $this->action;
        }
        return parent::__doRequest($request, $location, $action, $version, $oneWay);
    }
}

function client($wsdl, $location) {
    return new TamperingClient($wsdl, ['location' => $location, 'trace' => 1,
        'cache_wsdl' => WSDL_CACHE_NONE, 'exceptions' => true]);
}

function status($client) {
    return (int) explode(' ', $client->__getLastResponseHeaders())[1];
}

function fault($what, $client, $call, $code, $string) {
    try {
        $call($client);
        check("$what raises a fault", true, false);
    } catch (SoapFault $fault) {
        check("$what faultcode", $code, $fault->faultcode);
        check("$what faultstring", $string, $fault->faultstring);
        check("$what HTTP status", 500, status($client));
    }
}

function soapStruct($string, $int, $float) {
    $s = new stdClass;
    $s->varString = $string;
    $s->varInt = $int;
    $s->varFloat = $float;
    return $s;
}

// Every built-in value comes back typed as a string, so PHP hands back the text; doubles have
// six decimals.
function textStruct($string, $int, $float) {
    return (object) ['varString' => $string, 'varInt' => $int, 'varFloat' => $float];
}

$c = client("$wsdlDir/round2_base.wsdl", "{$base}round2_base.inc");
check('echoString', 'Hello, Corvane', $c->echoString('Hello, Corvane'));
check('echoString non-ASCII', "h\u{e9}llo \u{20ac} \u{1F600}", $c->echoString("h\u{e9}llo \u{20ac} \u{1F600}"));
check('echoString markup', '<&>"\'', $c->echoString('<&>"\''));
check('echoString empty', '', $c->echoString(''));
check('echoStringArray', ['a', 'b', 'c'], $c->echoStringArray(['a', 'b', 'c']));
check('echoInteger', '42', $c->echoInteger(42));
check('echoInteger negative', '-2147483648', $c->echoInteger(-2147483648));
check('echoIntegerArray', ['1', '-2', '3'], $c->echoIntegerArray([1, -2, 3]));
check('echoFloat', '1.500000', $c->echoFloat(1.5));
check('echoFloat single precision', '0.100000', $c->echoFloat(0.1));
check('echoFloatArray', ['1.500000', '-3.250000'], $c->echoFloatArray([1.5, -3.25]));
check('echoStruct', textStruct('x', '5', '0.250000'), $c->echoStruct(soapStruct('x', 5, 0.25)));
check('echoStructArray', [textStruct('a', '1', '1.000000'), textStruct('b', '2', '2.500000')],
    $c->echoStructArray([soapStruct('a', 1, 1.0), soapStruct('b', 2, 2.5)]));
check('echoStructArray empty', [], $c->echoStructArray([]));
check('echoVoid', null, $c->echoVoid());
check('echoBase64', null, $c->echoBase64('Hello'));
check('echoDate', null, $c->echoDate('2002-01-01T12:00:00Z'));
check('echoHexBinary', '41423031', $c->echoHexBinary('AB01'));
check('echoDecimal', '123.449997', $c->echoDecimal('123.45'));
check('echoBoolean true', '0', $c->echoBoolean(true));
// PHP writes every boolean as true or false; the text 1 has to go out as an int.
check('echoBoolean 1', '1', $c->echoBoolean(new SoapVar(1, XSD_INT)));
check('echoBoolean false', '0', $c->echoBoolean(false));

$b = client("$wsdlDir/round2_groupB.wsdl", "{$base}round2_groupB.inc");
check('echoStructAsSimpleTypes',
    ['outputString' => 'x', 'outputInteger' => '5', 'outputFloat' => '0.250000'],
    $b->echoStructAsSimpleTypes(soapStruct('x', 5, 0.25)));
check('echoSimpleTypesAsStruct', textStruct('y', '7', '1.250000'),
    $b->echoSimpleTypesAsStruct('y', 7, 1.25));
// The items come back in order under the WSDL's string[,], which PHP reads as four rows.
check('echo2DStringArray', [['a'], ['b'], ['c'], ['d']],
    $b->echo2DStringArray([['a', 'b'], ['c', 'd']]));
$nested = soapStruct('outer', 1, 1.5);
$nested->varStruct = soapStruct('inner', 2, 2.5);
$expected = textStruct('outer', '1', '1.500000');
$expected->varStruct = textStruct('inner', '2', '2.500000');
check('echoNestedStruct', $expected, $b->echoNestedStruct($nested));
$withArray = soapStruct('outer', 1, 1.5);
$withArray->varArray = ['p', 'q'];
$expected = textStruct('outer', '1', '1.500000');
$expected->varArray = ['p', 'q'];
check('echoNestedArray', $expected, $b->echoNestedArray($withArray));

// Faults, as PHP reads them.
fault('wrong SOAPAction', $c, function ($client) {
    $client->action = 'urn:wrong';
    $client->echoString('x');
}, 'SOAP-ENV:Client', "Unrecognized 'SOAPAction' HTTP header received.");
$c->action = null;
$plain = new TamperingClient(null, ['location' => "{$base}round2_base.inc",
    'uri' => 'http://soapinterop.org/', 'soapaction' => '"http://"', 'trace' => 1]);
fault('operation not in the WSDL', $plain, function ($client) {
    $client->__soapCall('echoNothing', ['x'], ['soapaction' => '"http://"']);
}, 'SOAP-ENV:Client', 'Unrecognized method call received.');
fault('group B operation at the base endpoint', $plain, function ($client) {
    $client->__soapCall('echoNestedStruct', ['x'], ['soapaction' => '"http://"']);
}, 'SOAP-ENV:Client', 'Unrecognized method call received.');
fault('parameter not in the WSDL', $c, function ($client) {
    $client->tamper = function ($xml) {
        return str_replace('inputString', 'inputText', $xml);
    };
    $client->echoString('x');
}, 'SOAP-ENV:Server', "Method parameter: 'inputText' not properly defined in WSDL file.");
fault('missing method element', $c, function ($client) {
    $client->tamper = function ($xml) {
        return preg_replace('#<SOAP-ENV:Body>.*</SOAP-ENV:Body>#s', '<SOAP-ENV:Body/>', $xml);
    };
    $client->echoString('x');
}, 'SOAP-ENV:Client', 'Unrecognized method call received.');
fault('malformed envelope', $c, function ($client) {
    $client->tamper = function ($xml) {
        return substr($xml, 0, strlen($xml) - 20);
    };
    $client->echoString('x');
}, 'SOAP-ENV:Server', 'XML Parser: Parse Error on Line 2.');
fault('SOAP 1.2 envelope', $c, function ($client) {
    $client->tamper = function ($xml) {
        return str_replace('http://schemas.xmlsoap.org/soap/envelope/',
            'http://www.w3.org/2003/05/soap-envelope', $xml);
    };
    $client->echoString('x');
}, 'SOAP-ENV:VersionMismatch', 'SOAP Version Mismatch');
$c->tamper = null;
check('a good call after the faults', 'still here', $c->echoString('still here'));

echo "$passed passed, $failed failed\n";
exit($failed == 0 ? 0 : 1);
