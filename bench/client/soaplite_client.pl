#!/usr/bin/perl
# SOAP::Lite on the benchmark's calls. Usage: perl soaplite_client.pl ENDPOINT CASE CALLS
# SOAP::Lite reads no WSDL: values are typed by hand, as its users do. Prints the seconds per
# call, elapsed and on the CPU.
use strict;
use warnings;
use SOAP::Lite;
use Time::HiRes qw(time);

my ($endpoint, $case, $calls) = @ARGV;
my $client = SOAP::Lite->proxy($endpoint)->ns('http://soapinterop.org/', 'm')
    ->on_action(sub { '"http://"' });
my $call;
if ($case eq 'string') {
    $call = sub {
        my $r = $client->echoString(SOAP::Data->name('inputString')->type('string')
            ->value('Hello, bench'));
        return !$r->fault && $r->result eq 'Hello, bench';
    };
} else {
    my ($count) = $case =~ /structs-(\d+)/;
    my @items = map {
        SOAP::Data->name('item')->attr({'xmlns:s' => 'http://soapinterop.org/xsd'})
            ->type('s:SOAPStruct')->value(\SOAP::Data->value(
                SOAP::Data->name('varString')->type('string')->value('item text'),
                SOAP::Data->name('varInt')->type('int')->value($_),
                SOAP::Data->name('varFloat')->type('float')->value($_ + 0.5)))
    } 0 .. $count - 1;
    my $array = SOAP::Data->name('inputStructArray')->type('soapenc:Array')
        ->attr({'soapenc:arrayType' => "s:SOAPStruct[$count]",
                'xmlns:s' => 'http://soapinterop.org/xsd'})->value(\@items);
    $call = sub {
        my $r = $client->echoStructArray($array);
        return !$r->fault && scalar(@{$r->result}) == $count;
    };
}
$call->() or die "soaplite: wrong answer\n";
sub cpu { my @t = times; return $t[0] + $t[1] }
my $cpu = cpu();
my $start = time;
for (1 .. $calls) {
    $call->() or die "soaplite: wrong answer\n";
}
printf "%.9f %.9f\n", (time - $start) / $calls, (cpu() - $cpu) / $calls;
