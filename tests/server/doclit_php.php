<?php
// PHP's SoapClient in WSDL mode against a document/literal echo service
// (tests/peers/doclit/echo_*.wsdl): every value comes back exactly, and echoString("raise-fault")
// gives the WSDL's typed fault.
//
// Usage: php doclit_php.php WSDL_URL [soap12]
//
// Expected values are in PHP's shapes: a struct is a stdClass, an attribute a property, a
// repeated element an array (SOAP_SINGLE_ELEMENT_ARRAYS, also for one item), an empty list no
// property at all, nil null.

$url = $argv[1];
$soap12 = ($argv[2] ?? '') === 'soap12';
$client = new SoapClient($url, ['cache_wsdl' => WSDL_CACHE_NONE, 'exceptions' => true,
                                'soap_version' => $soap12 ? SOAP_1_2 : SOAP_1_1,
                                'features' => SOAP_SINGLE_ELEMENT_ARRAYS]);

$item = (object)['name' => "crème <&> \u{1D11E}", 'count' => -2147483648, 'price' => 0.1,
                 'note' => 'n', 'id' => 'a-1'];
$bare = (object)['name' => '', 'count' => 2147483647, 'price' => -1e300];
$cases = [
    ['echoString', ['text' => "héllo <&> \u{1D11E} \r\n end"], "héllo <&> \u{1D11E} \r\n end"],
    ['echoString', ['text' => ''], ''],
    ['echoInt', ['value' => -2147483648], -2147483648],
    ['echoInt', ['value' => 2147483647], 2147483647],
    ['echoItem', ['item' => $item], $item],
    ['echoItem', ['item' => $bare], $bare],
    // Copies: SoapClient sends an object given twice as an encoded reference (href and id), even
    // in literal, where the schema has no such attributes.
    ['echoItems', ['items' => ['item' => [$item, $bare, clone $item]]],
     (object)['item' => [$item, $bare, $item]]],
    ['echoItems', ['items' => ['item' => []]], new stdClass()],
    ['echoStrings', ['value' => ['a', 'b', 'c']], ['a', 'b', 'c']],
    ['echoStrings', ['value' => ['only']], ['only']],
    ['echoNillable', ['value' => 'v'], 'v'],
    ['echoNillable', ['value' => null], null],
];

$failures = 0;
foreach ($cases as [$operation, $arguments, $expected]) {
    try {
        $answer = $client->$operation($arguments);
        $got = property_exists($answer, 'return') ? $answer->return : null;
    } catch (Throwable $e) {
        $got = get_class($e) . ': ' . $e->getMessage();
    }
    // == compares objects by their properties and numbers by value, === the strings exactly.
    $same = is_string($expected) ? $got === $expected : $got == $expected;
    if (!$same) {
        $failures++;
        echo "FAIL $operation(" . json_encode($arguments) . '): ' . var_export($got, true)
            . ' != ' . var_export($expected, true) . "\n";
    }
}
// Empty repeated element: no "return" at all.
$answer = $client->echoStrings(['value' => []]);
if (property_exists($answer, 'return') && $answer->return !== []) {
    $failures++;
    echo 'FAIL echoStrings([]): ' . var_export($answer, true) . "\n";
}
try {
    $client->echoString(['text' => 'raise-fault']);
    $failures++;
    echo "FAIL echoString(raise-fault): no fault\n";
} catch (SoapFault $fault) {
    $code = $soap12 ? 'Receiver' : 'Server';
    $detail = $fault->detail->echoFault ?? null;
    // The code as written, prefix included; the prefix is the server's choice.
    if (substr(strrchr(':' . $fault->faultcode, ':'), 1) !== $code || $fault->faultstring !== 'Fault raised on request'
            || $detail === null || $detail->code != 42 || $detail->message !== 'raise-fault') {
        $failures++;
        echo 'FAIL echoString(raise-fault): ' . var_export([$fault->faultcode,
            $fault->faultstring, $fault->detail ?? null], true) . "\n";
    }
}
printf("%d passed, %d failed\n", count($cases) + 2 - $failures, $failures);
exit($failures ? 1 : 0);
