// The process's entry of a tool: a program whose arguments reach it one by one.
#ifndef OVPATCH_PLATFORM_TOOL_ENTRY_H
#define OVPATCH_PLATFORM_TOOL_ENTRY_H

// Defined above this layer. `arguments` holds `count` texts in the default code page, the program's own name
// first. Answers the exit status. A pipe whose reader is gone makes a write fail and does not end the
// process; a process that the tool starts must not inherit that.
int toolMain(int count, const char* const* arguments) noexcept;

#endif
