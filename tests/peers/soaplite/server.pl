#!/usr/bin/perl
# Round 2 base and group B echo service on SOAP::Lite's HTTP daemon, answering in RPC/encoded with
# the types of tests/data/wsdl/round2_base.wsdl and round2_groupB.wsdl. SOAP::Lite reads no WSDL on the server side, so every answer
# carries explicit type hints: scalars typed as their WSDL part, SOAPStruct members in a fixed order
# (a Perl hash has none), arrays as SOAP-ENC:Array with an arrayType.
#
# Usage: server.pl PORT LIFETIME_SECONDS
# Listens on 127.0.0.1:PORT, exits after LIFETIME_SECONDS or on SIGTERM.
# echoString with the input "raise-fault" answers a SOAP fault with code, string, actor and detail.
# GET /?wsdl or /round2_base.wsdl, and /round2_groupB.wsdl, answer the WSDL with its soap:address
# rewritten to this server.
use strict;
use warnings;
use File::Basename qw(dirname);
use Cwd qw(abs_path);
use HTTP::Response;
use Scalar::Util ();
use SOAP::Lite;
use SOAP::Transport::HTTP;

package Round2;

use constant XSD_NS => 'http://www.w3.org/2001/XMLSchema';
use constant STRUCT_NS => 'http://soapinterop.org/xsd';
use constant FAULT_TRIGGER => 'raise-fault';

# A struct or array typed by the client (xsi:type="s:SOAPStruct", "s:ArrayOfstring") arrives
# blessed into its type's name; only the shape counts here.
sub is_HASH { return (Scalar::Util::reftype($_[0]) // '') eq 'HASH' }
sub is_ARRAY { return (Scalar::Util::reftype($_[0]) // '') eq 'ARRAY' }

sub scalar_of {
    my ($name, $type, $value) = @_;
    return SOAP::Data->name($name)->type($type)->value($value);
}

sub struct_of {
    my ($name, $s) = @_;
    $s = {} unless is_HASH($s);
    return SOAP::Data->name($name => \SOAP::Data->value(
        scalar_of('varString', 'string', $s->{varString}),
        scalar_of('varInt', 'int', $s->{varInt}),
        scalar_of('varFloat', 'float', $s->{varFloat})))
        ->type('s:SOAPStruct')->attr({ 'xmlns:s' => STRUCT_NS });
}

# Items are named "item"; the arrayType is set by hand so that an empty array still names its
# item type (SOAP::Lite would otherwise write anyType[0]).
sub array_of {
    my ($name, $items, $item_type) = @_;
    my @items = is_ARRAY($items) ? @$items : ();
    my @data = map { $item_type eq 'SOAPStruct'
                         ? struct_of('item', $_)
                         : scalar_of('item', $item_type, $_) } @items;
    my ($prefix, $ns) = $item_type eq 'SOAPStruct' ? ('s', STRUCT_NS) : ('xsd', XSD_NS);
    return SOAP::Data->name($name => \@data)->attr({
        'soapenc:arrayType' => "$prefix:$item_type\[" . scalar(@items) . ']',
        "xmlns:$prefix" => $ns,
    });
}

sub echoString {
    my (undef, $s) = @_;
    if (defined $s && $s eq FAULT_TRIGGER) {
        die SOAP::Fault->faultcode('Server')
            ->faultstring('Fault raised on request')
            ->faultactor('http://127.0.0.1/peer-actor')
            ->faultdetail(struct_of('faultDetail',
                { varString => FAULT_TRIGGER, varInt => 42, varFloat => 0.5 })
                ->uri('http://soapinterop.org/'));
    }
    return scalar_of('outputString', 'string', $s);
}

sub echoInteger { return scalar_of('outputInteger', 'int', $_[1]) }
sub echoFloat { return scalar_of('outputFloat', 'float', $_[1]) }
sub echoBase64 { return scalar_of('outputBase64', 'base64Binary', $_[1]) }
sub echoDate { return scalar_of('outputDate', 'dateTime', $_[1]) }
sub echoHexBinary { return scalar_of('outputHexBinary', 'hexBinary', $_[1]) }
sub echoDecimal { return scalar_of('outputDecimal', 'decimal', $_[1]) }
# A boolean typed as a string arrives as its text, and the text "false" is true to Perl.
sub echoBoolean {
    my (undef, $b) = @_;
    my $false = !defined $b || $b =~ /^\s*(?:0|false|)\s*$/i;
    return scalar_of('outputBoolean', 'boolean', $false ? 'false' : 'true');
}
sub echoStruct { return struct_of('outputStruct', $_[1]) }

sub echoStructAsSimpleTypes {
    my (undef, $s) = @_;
    $s = {} unless is_HASH($s);
    return (scalar_of('outputString', 'string', $s->{varString}),
            scalar_of('outputInteger', 'int', $s->{varInt}),
            scalar_of('outputFloat', 'float', $s->{varFloat}));
}

sub echoSimpleTypesAsStruct {
    my (undef, $string, $integer, $float) = @_;
    return struct_of('return', { varString => $string, varInt => $integer, varFloat => $float });
}

# A two-dimensional array arrives as a list of rows; it goes back row by row with both sizes.
sub echo2DStringArray {
    my (undef, $rows) = @_;
    my @rows = is_ARRAY($rows) ? @$rows : ();
    my $columns = @rows && is_ARRAY($rows[0]) ? scalar @{ $rows[0] } : 0;
    my @items = map { scalar_of('item', 'string', $_) }
                map { is_ARRAY($_) ? @$_ : $_ } @rows;
    return SOAP::Data->name('return' => \@items)->attr({
        'soapenc:arrayType' => 'xsd:string[' . scalar(@rows) . ",$columns]",
        'xmlns:xsd' => XSD_NS,
    });
}

sub echoNestedStruct {
    my (undef, $s) = @_;
    $s = {} unless is_HASH($s);
    return SOAP::Data->name('return' => \SOAP::Data->value(
        scalar_of('varString', 'string', $s->{varString}),
        scalar_of('varInt', 'int', $s->{varInt}),
        scalar_of('varFloat', 'float', $s->{varFloat}),
        struct_of('varStruct', $s->{varStruct})))
        ->type('s:SOAPStructStruct')->attr({ 'xmlns:s' => STRUCT_NS });
}

sub echoNestedArray {
    my (undef, $s) = @_;
    $s = {} unless is_HASH($s);
    return SOAP::Data->name('return' => \SOAP::Data->value(
        scalar_of('varString', 'string', $s->{varString}),
        scalar_of('varInt', 'int', $s->{varInt}),
        scalar_of('varFloat', 'float', $s->{varFloat}),
        array_of('varArray', $s->{varArray}, 'string')))
        ->type('s:SOAPArrayStruct')->attr({ 'xmlns:s' => STRUCT_NS });
}
sub echoVoid { return }

sub echoStringArray { return array_of('outputStringArray', $_[1], 'string') }
sub echoIntegerArray { return array_of('outputIntegerArray', $_[1], 'int') }
sub echoFloatArray { return array_of('outputFloatArray', $_[1], 'float') }
sub echoStructArray {
    return array_of('outputStructArray', $_[1], 'SOAPStruct');
}

package main;

my ($port, $lifetime) = @ARGV;
die "usage: $0 PORT LIFETIME_SECONDS\n" unless defined $lifetime && $port =~ /^\d+$/;

my $wsdl_dir = dirname(abs_path(__FILE__)) . '/../../data/wsdl';

# The WSDL named by a GET request, with its address made absolute; undef for any other request.
sub wsdl_for {
    my ($request) = @_;
    return undef unless $request->method eq 'GET';
    my ($path, $query) = ($request->uri->path, $request->uri->query // '');
    my $name = lc $query eq 'wsdl' || $path eq '/round2_base.wsdl' ? 'round2_base'
             : $path eq '/round2_groupB.wsdl' ? 'round2_groupB'
             : return undef;
    open my $file, '<:raw', "$wsdl_dir/$name.wsdl" or return undef;
    my $text = do { local $/; <$file> };
    $text =~ s{(<soap:address\s+location=")[^"]*(")}{$1http://127.0.0.1:$port/$name.inc$2};
    return $text;
}

# Each connection is served by a child in the server's process group (start runs the server as
# a group leader); stopping the server stops the children too.
$SIG{TERM} = $SIG{INT} = $SIG{ALRM} = sub { local $SIG{TERM} = 'IGNORE'; kill 'TERM', -$$; exit 0 };
$SIG{CHLD} = 'IGNORE';
alarm $lifetime;

my $daemon = SOAP::Transport::HTTP::Daemon->new(
    LocalAddr => '127.0.0.1', LocalPort => $port, ReuseAddr => 1)
  or die "cannot listen on 127.0.0.1:$port: $!\n";
# The WSDL's soapAction is "http://" for every operation; SOAP::Lite would otherwise insist on
# "uri#method". Methods are found by the body namespace instead.
$daemon->on_action(sub { });
$daemon->dispatch_with({ 'http://soapinterop.org/' => 'Round2' });

# SOAP::Transport::HTTP::Daemon::handle, with WSDL documents answered before SOAP dispatch. That
# serves one connection at a time, so a client keeping its connection open (HTTP/1.1) would hold
# off every other client; here each connection gets a process of its own.
while (my $connection = $daemon->accept) {
    my $child = fork;
    die "fork: $!\n" unless defined $child;
    if ($child) {
        $connection->close;
        next;
    }
    $SIG{TERM} = $SIG{INT} = $SIG{ALRM} = sub { exit 0 };
    alarm $lifetime;
    while (my $request = $connection->get_request) {
        my $wsdl = wsdl_for($request);
        my $response;
        if (defined $wsdl) {
            $response = HTTP::Response->new(
                200, 'OK', [ 'Content-Type' => 'text/xml; charset=utf-8' ], $wsdl);
        } else {
            $daemon->request($request);
            $daemon->SOAP::Transport::HTTP::Server::handle;
            $response = $daemon->response;
        }
        local $SIG{PIPE} = 'IGNORE';
        $connection->send_response($response);
    }
    $connection->close;
    exit 0;
}
