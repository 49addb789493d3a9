<?php
// PHP SoapClient on the benchmark's calls.
// Usage: php php_client.php WSDL ENDPOINT CASE CALLS [new]
// CASE is string, structs-N for echoStructArray of N structs, or items-N for echoItems of N items
// (WSDL: the document/literal echo_doclit.wsdl). SoapClient keeps its connection open by default;
// "new" opens one per call. Prints the seconds per call, elapsed and on the CPU.
[$script, $wsdl, $endpoint, $case, $calls] = $argv;
$literal = str_starts_with($case, 'items-');
// A repeated element comes back as an array even when it occurs once.
$client = new SoapClient($wsdl, ['location' => $endpoint, 'cache_wsdl' => WSDL_CACHE_MEMORY,
    'keep_alive' => ($argv[5] ?? '') !== 'new',
    'features' => $literal ? SOAP_SINGLE_ELEMENT_ARRAYS : 0]);
if ($literal) {
    $count = (int) substr($case, strlen('items-'));
    $items = [];
    for ($i = 0; $i < $count; $i++) {
        $items[] = ['name' => 'item text', 'count' => $i, 'price' => $i + 0.5];
    }
    $call = fn() => count($client->echoItems(['items' => ['item' => $items]])->return->item ?? [])
        === $count;
    // The warm-up answer's values are compared too.
    $echoed = $client->echoItems(['items' => ['item' => $items]])->return->item ?? [];
    foreach ($items as $i => $item) {
        if ((array) ($echoed[$i] ?? null) != $item) {
            fwrite(STDERR, "php: wrong answer\n");
            exit(1);
        }
    }
} elseif ($case === 'string') {
    $call = fn() => $client->echoString('Hello, bench') === 'Hello, bench';
} else {
    $count = (int) substr($case, strlen('structs-'));
    $items = [];
    for ($i = 0; $i < $count; $i++) {
        $items[] = (object) ['varString' => 'item text', 'varInt' => $i, 'varFloat' => $i + 0.5];
    }
    $call = fn() => count($client->echoStructArray($items)) === $count;
}
$call();  // warm-up: the description is read and cached
function cpu() {
    $usage = getrusage();
    return $usage['ru_utime.tv_sec'] + $usage['ru_utime.tv_usec'] / 1e6 +
        $usage['ru_stime.tv_sec'] + $usage['ru_stime.tv_usec'] / 1e6;
}
$cpu = cpu();
$start = hrtime(true);
for ($i = 0; $i < (int) $calls; $i++) {
    if (!$call()) {
        fwrite(STDERR, "php: wrong answer\n");
        exit(1);
    }
}
printf("%.9f %.9f\n", (hrtime(true) - $start) / 1e9 / (int) $calls, (cpu() - $cpu) / (int) $calls);
