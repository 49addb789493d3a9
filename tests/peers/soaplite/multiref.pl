#!/usr/bin/perl
# Prints the echoStructArray response that SOAP::Lite's default serializer writes when one struct
# occurs twice in the array: the shared item becomes an href to an independent element after the
# method element. Plain hashes, as an application would pass them, so the array is anyType[] and
# the structs are untyped. Member order follows Perl's hash order: run with PERL_HASH_SEED=0 and
# PERL_PERTURB_KEYS=0 for repeatable output; the ids derive from addresses and still vary.
use strict;
use warnings;
use SOAP::Lite;

my $shared = { varString => 'shared', varInt => 1, varFloat => 0.5 };
my $own = { varString => 'own', varInt => 2, varFloat => 2.5 };
print SOAP::Serializer->new->envelope(
    response => SOAP::Data->name('echoStructArrayResponse')->uri('http://soapinterop.org/'),
    SOAP::Data->name('outputStructArray' => [ $shared, $own, $shared ]));
