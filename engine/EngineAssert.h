#pragma once

namespace vsk
{

// The engine's assertion handler. A failed engine assertion is reported with its expression and
// source location, and execution goes on: the asserting accessor then returns without touching
// memory it does not own. Returning true from a handler asks for a debug break (raised only when
// a debugger is attached).
using AssertHandler = bool (*)(const char* expression, const char* file, int line, const char* function);

// Installs `handler` (null restores the default, which writes one line to stderr) and returns the
// previous one. Not synchronised with assertions in flight: install it before using the engine.
AssertHandler SetAssertHandler(AssertHandler handler);

// Reports a failed assertion through the current handler.
void ReportAssertion(const char* expression, const char* file, int line, const char* function);

}  // namespace vsk

// Checks `expr`; on failure reports its text and location and goes on. Evaluates to the condition
// so callers can bail out: `if (!VSK_ASSERT(m_vEdges.isValid(eID))) return;`.
#define VSK_ASSERT(expr)                                                                                     \
    ((expr) ? true : (::vsk::ReportAssertion(#expr, __FILE__, __LINE__, __func__), false))

// As VSK_ASSERT with a message of its own instead of the expression's text.
#define VSK_ASSERT_MSG(expr, message)                                                                        \
    ((expr) ? true : (::vsk::ReportAssertion((message), __FILE__, __LINE__, __func__), false))
