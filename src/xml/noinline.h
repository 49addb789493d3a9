// NOINLINE keeps helpers off the recursive path out of the frames of the recursion, so that the
// parsers' depth limit fits in a small stack.
#ifndef CORVANE_XML_NOINLINE_H
#define CORVANE_XML_NOINLINE_H

#if defined(__GNUC__)
#define NOINLINE __attribute__((noinline))
#elif defined(_MSC_VER)
#define NOINLINE __declspec(noinline)
#else
#define NOINLINE
#endif

#endif
