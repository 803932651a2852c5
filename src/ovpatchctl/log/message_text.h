// Taking out of a message what the log put in.
#ifndef OVPATCH_OVPATCHCTL_LOG_MESSAGE_TEXT_H
#define OVPATCH_OVPATCHCTL_LOG_MESSAGE_TEXT_H

#include <string>
#include <string_view>

namespace ovpatch::ctl {

// Takes out what breaks long lines (see wrapLogText). A line feed of the message itself stays, unless it
// stands just where a break would.
std::string unbroken(std::string_view message);

// Takes back what makes a message fit for HTML (see htmlEscape). A tab and four blanks look the same there:
// where a blank follows them they are taken for blanks.
std::string withoutHtml(std::string_view message);

}  // namespace ovpatch::ctl

#endif
