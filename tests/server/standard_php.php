<?php
// PHP SoapClient (WSDL mode) against the interop server in standard wire mode: every row of
// standard_values.json must come back exactly. Usage: php standard_php.php BASE_URL WSDL_DIR

[, $base, $wsdlDir] = $argv;
$table = json_decode(file_get_contents(__DIR__ . '/standard_values.json'), true);

// The PHP value of a TYPE:TEXT leaf, as SoapClient takes and gives it.
function leaf($tagged) {
    [$kind, $text] = explode(':', $tagged, 2);
    switch ($kind) {
        case 'F': return $tagged;
        case 'i': return (int) $text;
        case 'f': return ['INF' => INF, '-INF' => -INF, 'NaN' => NAN][$text] ?? (float) $text;
        case 'b': return $text === 'true';
        case 'x':
        case 'h': return $text === 'all' ? implode('', array_map('chr', range(0, 255))) : hex2bin($text);
        default: return $text;  // string, decimal and dateTime travel as their text
    }
}

// Objects become structs (stdClass), lists arrays; member order is the table's.
function argument($value) {
    if (is_array($value) && !array_is_list($value)) {
        return (object) array_map('argument', $value);
    }
    if ($value === null) {
        return null;
    }
    return is_array($value) ? array_map('argument', $value) : leaf($value);
}

// Exact comparison: floats by their bits (NaN equals NaN), objects member by member in order.
function same($expected, $actual) {
    if (is_object($expected) || is_array($expected)) {
        $e = (array) $expected;
        $a = is_object($actual) || is_array($actual) ? (array) $actual : null;
        if ($a === null || array_keys($e) !== array_keys($a)) {
            return false;
        }
        foreach ($e as $key => $member) {
            if (!same($member, $a[$key])) {
                return false;
            }
        }
        return true;
    }
    if (is_float($expected)) {
        return is_float($actual) && (is_nan($expected) ? is_nan($actual)
                                     : pack('E', $expected) === pack('E', $actual));
    }
    return $expected === $actual;
}

$clients = [];
foreach (['base' => 'round2_base', 'groupB' => 'round2_groupB'] as $suite => $name) {
    $clients[$suite] = new SoapClient("$wsdlDir/$name.wsdl", ['location' => "$base$name.inc",
        'trace' => 1, 'cache_wsdl' => WSDL_CACHE_NONE, 'exceptions' => true]);
}
$passed = 0;
$failed = 0;
foreach ($table['rows'] as $number => $row) {
    [$suite, $operation, $arguments] = $row;
    $options = $row[3] ?? [];
    $expected = array_key_exists('answer', $options) ? $options['answer']
                                                    : ($arguments ? reset($arguments) : null);
    $expected = argument(array_key_exists('php', $options) ? $options['php'] : $expected);
    // Several output parts come back as an associative array, not an object.
    if (is_object($expected) && $operation === 'echoStructAsSimpleTypes') {
        $expected = (array) $expected;
    }
    try {
        $answer = $clients[$suite]->__soapCall($operation, array_map('argument', array_values($arguments)));
    } catch (SoapFault $fault) {
        $answer = "F:$fault->faultstring";
    }
    if (same($expected, $answer)) {
        $passed++;
    } else {
        $failed++;
        echo 'FAIL row ', $number + 1, " $operation: expected ", var_export($expected, true),
            ', got ', var_export($answer, true), "\n", $clients[$suite]->__getLastRequest(), "\n",
            $clients[$suite]->__getLastResponse(), "\n";
    }
}
echo "$passed passed, $failed failed\n";
exit($failed == 0 ? 0 : 1);
