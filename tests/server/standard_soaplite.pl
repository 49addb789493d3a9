#!/usr/bin/perl
# SOAP::Lite against the interop server in standard wire mode: every row of
# standard_values.json must come back exactly. Usage: perl standard_soaplite.pl BASE_URL
# SOAP::Lite reads no WSDL: each value is typed by hand from its leaf's type, structs and arrays
# included, and the SOAPAction is the WSDL's quoted value.
use strict;
use warnings;
use Data::Dumper;
use File::Basename qw(dirname);
use JSON::PP;
use Scalar::Util qw(reftype);
use SOAP::Lite;

my $base = shift @ARGV;
binmode STDOUT, ':encoding(UTF-8)';
my $table = do {
    open my $file, '<:raw', dirname(__FILE__) . '/standard_values.json' or die $!;
    local $/;
    JSON::PP->new->utf8->decode(<$file>);
};
my %xsd = (s => 'string', i => 'int', f => 'float', d => 'decimal', b => 'boolean',
           x => 'base64Binary', h => 'hexBinary', t => 'dateTime');
# Perl hashes keep no order; parts and members go out in the WSDL's.
my @order = qw(inputString inputInteger inputFloat varString varInt varFloat varStruct varArray);
my %rank = map { $order[$_] => $_ } 0 .. $#order;
my $all_bytes = join '', map { chr } 0 .. 255;

sub ordered { my $h = shift; return sort { ($rank{$a} // 99) <=> ($rank{$b} // 99) } keys %$h }

# A leaf's kind and its Perl value: numbers, booleans and dates as their text, binary as bytes.
sub leaf {
    my ($kind, $text) = split /:/, shift, 2;
    $text = $text eq 'all' ? $all_bytes : pack('H*', $text) if $kind eq 'x' || $kind eq 'h';
    return ($kind, $text);
}

sub struct_type {
    my $s = shift;
    return exists $s->{varStruct} ? 'SOAPStructStruct'
         : exists $s->{varArray} ? 'SOAPArrayStruct' : 'SOAPStruct';
}

sub data {
    my ($name, $value) = @_;
    if (ref $value eq 'HASH') {
        return SOAP::Data->name($name)->attr({'xmlns:s' => 'http://soapinterop.org/xsd'})
            ->type('s:' . struct_type($value))
            ->value(\SOAP::Data->value(map { data($_, $value->{$_}) } ordered($value)));
    }
    if (ref $value eq 'ARRAY') {
        my @rows = @$value;
        my $two = @rows && ref $rows[0] eq 'ARRAY';
        my @items = $two ? map { @$_ } @rows : @rows;
        my $size = $two ? scalar(@rows) . ',' . scalar(@{ $rows[0] }) : scalar(@items);
        # An empty array's item type is not in the table; strings are the one case there.
        my $type = !@items ? 'xsd:string'
                 : ref $items[0] eq 'HASH' ? 's:' . struct_type($items[0])
                 : 'xsd:' . $xsd{(leaf($items[0]))[0]};
        return SOAP::Data->name($name)->type('soapenc:Array')
            ->attr({'soapenc:arrayType' => "$type\[$size]",
                    'xmlns:s' => 'http://soapinterop.org/xsd'})
            ->value([map { data('item', $_) } @items]);
    }
    my ($kind, $text) = leaf($value);
    return SOAP::Data->name($name)->type($xsd{$kind})->value($text);
}

# Whether an answer is the value sent: numbers by value (sign of zero and NaN included),
# booleans by truth, everything else by its exact text or bytes. Typed answers come blessed
# into their type's name.
sub same {
    my ($expected, $actual) = @_;
    return !defined $actual if !defined $expected;
    return 0 if !defined $actual;
    if (ref $expected eq 'HASH') {
        return 0 unless (reftype($actual) // '') eq 'HASH' && keys %$actual == keys %$expected;
        return !grep { !same($expected->{$_}, $actual->{$_}) } keys %$expected;
    }
    if (ref $expected eq 'ARRAY') {
        return 0 unless (reftype($actual) // '') eq 'ARRAY' && @$actual == @$expected;
        return !grep { !same($expected->[$_], $actual->[$_]) } 0 .. $#$expected;
    }
    my ($kind, $text) = leaf($expected);
    return "$kind:$text" eq $actual if $kind eq 'F';
    return !!$actual == ($text eq 'true') if $kind eq 'b';
    if ($kind eq 'f' || $kind eq 'd' || $kind eq 'i') {
        my ($e, $a) = map { sprintf '%.17g', $_ } $text, $actual;
        return $e eq $a;
    }
    return $text eq $actual;
}

sub shown {
    local $Data::Dumper::Indent = 0;
    local $Data::Dumper::Sortkeys = 1;
    local $Data::Dumper::Terse = 1;
    local $Data::Dumper::Useqq = 1;
    return Dumper(shift);
}

my ($passed, $failed) = (0, 0);
my $number = 0;
for my $row (@{ $table->{rows} }) {
    $number++;
    my ($suite, $operation, $arguments, $options) = @$row;
    $options //= {};
    my @names = ordered($arguments);
    my $expected = exists $options->{answer} ? $options->{answer}
                 : @names ? $arguments->{ $names[0] } : undef;
    $expected = $options->{soaplite} if exists $options->{soaplite};
    my ($path, $action) = $suite eq 'base' ? ('round2_base.inc', '"http://"')
                                           : ('round2_groupB.inc', '"http://soapinterop.org/"');
    my $client = SOAP::Lite->proxy($base . $path)->ns('http://soapinterop.org/', 'm')
        ->on_action(sub { $action })->on_fault(sub { $_[1] });
    my $som = $client->call($operation, map { data($_, $arguments->{$_}) } @names);
    my $actual;
    if (!ref $som) {
        $actual = "ERROR $som";
    } elsif ($som->fault) {
        $actual = 'F:' . $som->faultstring;
    } elsif ($operation eq 'echoStructAsSimpleTypes') {
        $actual = { map { $_ => $som->valueof("//$_") } keys %$expected };
    } else {
        $actual = $som->result;
    }
    if (same($expected, $actual)) {
        $passed++;
    } else {
        $failed++;
        print "FAIL row $number $operation: expected ", shown($expected), ', got ', shown($actual),
            "\n";
    }
}
print "$passed passed, $failed failed\n";
exit($failed == 0 ? 0 : 1);
