// Umbrella header: includes every exported family of Corvane.
#ifndef CORVANE_CORVANE_H
#define CORVANE_CORVANE_H

#include <corvane/client.h>
#include <corvane/codec.h>
#include <corvane/deserializer.h>
#include <corvane/dynssl.h>
#include <corvane/http.h>
#include <corvane/message.h>
#include <corvane/serializer.h>
#include <corvane/server.h>
#include <corvane/socket.h>
#include <corvane/types.h>
#include <corvane/utf8.h>
#include <corvane/values.h>
#include <corvane/wire.h>
#include <corvane/wsdl.h>
#include <corvane/xml.h>
#include <corvane/xml_parser.h>

#endif
