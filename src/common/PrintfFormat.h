// Lets the compiler hold a printf-style function's format against its arguments, where it can.
#pragma once

/// Numbers, from 1, of the format parameter and of the first argument for it.
#if defined(_MSC_VER)
#define VDIPC_PRINTF_FORMAT(text, arguments)
#elif defined(__MINGW32__) && !defined(__clang__)
// The library's own print functions, and not the system's, with their size modifiers.
#define VDIPC_PRINTF_FORMAT(text, arguments) [[gnu::format(gnu_printf, text, arguments)]]
#else
#define VDIPC_PRINTF_FORMAT(text, arguments) [[gnu::format(printf, text, arguments)]]
#endif
