<?php
// PHP SoapClient (WSDL mode) against the interop server in the standard wire mode: every value
// of both round 2 suites must come back as it was sent. Usage: php php_standard.php BASE_URL WSDL_DIR
$base = $argv[1];
$wsdlDir = $argv[2];
$failed = 0;
$count = 0;

function same($a, $b) {
    if (is_float($a) && is_float($b)) {
        return is_nan($a) ? is_nan($b) : $a === $b;
    }
    return json_encode($a) === json_encode($b);
}

function check($what, $expected, $actual) {
    global $failed, $count;
    $count++;
    if (!same($expected, $actual)) {
        $failed++;
        echo "FAIL $what: expected ", var_export($expected, true), ", got ",
            var_export($actual, true), "\n";
    }
}

function client($wsdl, $location) {
    return new SoapClient($wsdl, ['location' => $location, 'cache_wsdl' => WSDL_CACHE_NONE]);
}

$all = '';
for ($i = 0; $i < 256; $i++) {
    $all .= chr($i);
}
$text = "Grüße aus Tōkyō — 東京 € 😀 <&>\r\n";
$struct = ['varString' => $text, 'varInt' => -7, 'varFloat' => 0.1];

$s = client("$wsdlDir/round2_base.wsdl", "{$base}round2_base.inc");
// Each: operation, value sent, value expected back (when PHP's own reading changes the type).
$calls = [
    ['echoString', $text], ['echoString', ''],
    ['echoInteger', -2147483648], ['echoInteger', 2147483647],
    ['echoFloat', 0.1], ['echoFloat', -0.0], ['echoFloat', 1e-9], ['echoFloat', INF],
    ['echoFloat', -INF], ['echoFloat', NAN],
    // PHP sends a decimal's text and reads the answer as a string.
    ['echoDecimal', '0.1'], ['echoDecimal', '-123.45'],
    ['echoBoolean', true], ['echoBoolean', false],
    ['echoBase64', $all], ['echoHexBinary', strtoupper(bin2hex($all))],
    ['echoDate', '2024-02-29T23:59:58.5+05:30'],
    ['echoStringArray', ['a', $text, '']], ['echoStringArray', []],
    ['echoIntegerArray', [1, -2, 2147483647]], ['echoFloatArray', [0.1, -2.5, 1e-9]],
    ['echoStruct', $struct, (object)$struct],
    ['echoStructArray', [$struct, $struct], [(object)$struct, (object)$struct]],
];
foreach ($calls as $call) {
    check($call[0] . ' ' . json_encode($call[1]), count($call) > 2 ? $call[2] : $call[1],
        $s->{$call[0]}($call[1]));
}
check('echoVoid', null, $s->echoVoid());

$b = client("$wsdlDir/round2_groupB.wsdl", "{$base}round2_groupB.inc");
check('echoStructAsSimpleTypes', ['outputString' => $text, 'outputInteger' => -7,
    'outputFloat' => 0.1], $b->echoStructAsSimpleTypes((object)$struct));
check('echoSimpleTypesAsStruct', (object)$struct,
    $b->echoSimpleTypesAsStruct($text, -7, 0.1));
$nested = ['varString' => 'outer', 'varInt' => 1, 'varFloat' => 1.5,
    'varStruct' => (object)$struct];
check('echoNestedStruct', (object)['varString' => 'outer', 'varInt' => 1, 'varFloat' => 1.5,
    'varStruct' => (object)$struct], $b->echoNestedStruct($nested));

echo "$count checks, $failed failed\n";
exit($failed === 0 ? 0 : 1);
