#!/usr/bin/perl
# SOAP::Lite against the interop server in the standard wire mode: every value must come back as
# it was sent, with SOAP::Lite's default SOAPAction ("uri#method"). Usage: perl soaplite_standard.pl BASE_URL
# No WSDL: each value is typed by hand, as SOAP::Lite users do.
use strict;
use warnings;
use utf8;
use SOAP::Lite;

my $base = shift @ARGV;
my ($count, $failed) = (0, 0);

sub check {
    my ($what, $expected, $actual) = @_;
    $count++;
    my $a = defined $actual ? $actual : '(undef)';
    if ($expected ne $a) {
        $failed++;
        binmode STDOUT, ':utf8';
        print "FAIL $what: expected $expected, got $a\n";
    }
}

sub param { return SOAP::Data->name($_[0])->type($_[1])->value($_[2]) }

my $c = SOAP::Lite->uri('http://soapinterop.org/')->proxy($base . 'round2_base.inc')
    ->on_fault(sub { $_[1] });

sub call {
    my $som = $c->call(@_);
    return 'ERROR ' . (split /\n/, $som)[0] unless ref $som;
    return $som->fault ? 'FAULT ' . $som->faultstring : $som->result;
}

my $all = join '', map { chr } 0 .. 255;
my $text = "Grüße aus Tōkyō — 東京 € 😀 <&>";
# Each: operation, part, type, value sent, text expected back (SOAP::Lite's reading).
for my $case (
    ['echoString', 'inputString', 'string', $text, $text],
    ['echoInteger', 'inputInteger', 'int', -2147483648, '-2147483648'],
    ['echoFloat', 'inputFloat', 'float', '0.1', '0.1'],
    ['echoFloat', 'inputFloat', 'float', '-0', '-0'],
    ['echoFloat', 'inputFloat', 'float', 'INF', 'INF'],
    ['echoDecimal', 'inputDecimal', 'decimal', '123.45', '123.45'],
    ['echoBoolean', 'inputBoolean', 'boolean', 'true', '1'],
    ['echoBoolean', 'inputBoolean', 'boolean', 'false', '0'],
    ['echoDate', 'inputDate', 'dateTime', '2024-02-29T23:59:58.5+05:30',
     '2024-02-29T23:59:58.5+05:30'],
    ['echoHexBinary', 'inputHexBinary', 'hexBinary', uc unpack('H*', $all), uc unpack('H*', $all)],
) {
    my ($op, $part, $type, $value, $expected) = @$case;
    check("$op $value", $expected, call($op, param($part, $type, $value)));
}
my $bytes = call('echoBase64', param('inputBase64', 'base64Binary', $all));
check('echoBase64 all bytes', 'same', defined $bytes && $bytes eq $all ? 'same' : 'different');

print "$count checks, $failed failed\n";
exit($failed == 0 ? 0 : 1);
