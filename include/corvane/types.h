// Basic types shared by every exported header of Corvane.
#ifndef CORVANE_TYPES_H
#define CORVANE_TYPES_H

#include <cstdint>
#include <string>

#if defined(_WIN32)
#if defined(CORVANE_BUILDING)
#define CORVANE_API __declspec(dllexport)
#else
#define CORVANE_API __declspec(dllimport)
#endif
#else
#define CORVANE_API __attribute__((visibility("default")))
#endif

#define CORVANE_VERSION_MAJOR 0
#define CORVANE_VERSION_MINOR 1
#define CORVANE_VERSION_PATCH 0
#define CORVANE_VERSION "0.1.0"

// Text inside Corvane is made of 16-bit code units on every platform; applications convert
// to and from UTF-8 with the functions of <corvane/utf8.h>.
using WMChar = char16_t;
using WMString = std::u16string;

#endif
