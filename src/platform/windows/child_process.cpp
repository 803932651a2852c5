#include "platform/child_process.h"

#include <io.h>

#include <cstdio>

namespace {

constexpr DWORD MOST_SAID = DWORD{64} << 10;
constexpr wchar_t SUFFIX[] = L".exe";

std::wstring widen(const std::string& text) {
    const int units = MultiByteToWideChar(CP_ACP, 0, text.c_str(), -1, nullptr, 0);
    std::wstring wide(units > 0 ? static_cast<std::size_t>(units) : 1, L'\0');
    if (units > 0) MultiByteToWideChar(CP_ACP, 0, text.c_str(), -1, &wide[0], units);
    wide.pop_back();
    return wide;
}

std::string narrow(const std::wstring& wide) {
    const int bytes = WideCharToMultiByte(CP_ACP, 0, wide.c_str(), -1, nullptr, 0, nullptr, nullptr);
    std::string text(bytes > 0 ? static_cast<std::size_t>(bytes) : 1, '\0');
    if (bytes > 0) WideCharToMultiByte(CP_ACP, 0, wide.c_str(), -1, &text[0], bytes, nullptr, nullptr);
    text.pop_back();
    return text;
}

// Backslashes count only in front of a double quote, where each wants another one.
std::wstring quoted(const std::wstring& argument) {
    std::wstring out = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t unit : argument) {
        if (unit == L'"') out.append(backslashes + 1, L'\\');
        backslashes = unit == L'\\' ? backslashes + 1 : 0;
        out += unit;
    }
    return out.append(backslashes, L'\\') + L'"';
}

HANDLE openInherited(const wchar_t* path, DWORD disposition, DWORD flags) {
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    return CreateFileW(path, GENERIC_READ | GENERIC_WRITE,
                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &inherited, disposition,
                       FILE_ATTRIBUTE_NORMAL | flags, nullptr);
}

HANDLE openNameless() {
    wchar_t directory[MAX_PATH];
    wchar_t name[MAX_PATH];
    if (GetTempPathW(MAX_PATH, directory) == 0 || GetTempFileNameW(directory, L"ovc", 0, name) == 0)
        return openInherited(L"NUL", OPEN_EXISTING, 0);
    return openInherited(name, CREATE_ALWAYS, FILE_FLAG_DELETE_ON_CLOSE);
}

std::wstring findProgram(const std::string& program) {
    wchar_t path[MAX_PATH];
    const std::wstring name = widen(program);
    if (program.find_first_of("\\/") != std::string::npos) return name;
    const DWORD length = SearchPathW(nullptr, name.c_str(), SUFFIX, MAX_PATH, path, nullptr);
    return length > 0 && length < MAX_PATH ? path : name;
}

HANDLE handleOf(std::intptr_t handle) {
    return reinterpret_cast<HANDLE>(handle);
}

}  // namespace

namespace platform {

ChildProcess::~ChildProcess() {
    if (process_ != -1) CloseHandle(handleOf(process_));
    if (output_ != -1) CloseHandle(handleOf(output_));
}

bool ChildProcess::start(const std::string& program, const std::vector<std::string>& arguments) {
    std::wstring line;
    for (const std::string& argument : arguments)
        line += (line.empty() ? L"" : L" ") + quoted(widen(argument));
    const HANDLE output = openNameless();
    const HANDLE input = openInherited(L"NUL", OPEN_EXISTING, 0);
    output_ = reinterpret_cast<std::intptr_t>(output);
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = input;
    startup.hStdOutput = output;
    startup.hStdError = output;
    PROCESS_INFORMATION made = {};
    const BOOL done = CreateProcessW(findProgram(program).c_str(), &line[0], nullptr, nullptr, TRUE,
                                     CREATE_NEW_PROCESS_GROUP, nullptr, nullptr, &startup, &made);
    const DWORD error = GetLastError();
    if (input != INVALID_HANDLE_VALUE) CloseHandle(input);
    SetLastError(error);
    if (done == FALSE) return false;
    CloseHandle(made.hThread);
    process_ = reinterpret_cast<std::intptr_t>(made.hProcess);
    id_ = made.dwProcessId;
    fate_ = Fate::AT_WORK;
    return true;
}

ChildProcess::Fate ChildProcess::look() {
    if (process_ == -1 || fate_ != Fate::AT_WORK) return fate_;
    DWORD value = 0;
    if (WaitForSingleObject(handleOf(process_), 0) != WAIT_OBJECT_0) return fate_;
    GetExitCodeProcess(handleOf(process_), &value);
    fate_ = Fate::ENDED;
    value_ = static_cast<int>(value);
    return fate_;
}

std::string ChildProcess::said() const {
    LARGE_INTEGER size = {};
    if (output_ == -1 || GetFileSizeEx(handleOf(output_), &size) == FALSE) return "";
    const DWORD length = size.QuadPart > MOST_SAID ? MOST_SAID : static_cast<DWORD>(size.QuadPart);
    LARGE_INTEGER start = {};
    start.QuadPart = size.QuadPart - length;
    std::string text(length, '\0');
    DWORD got = 0;
    if (SetFilePointerEx(handleOf(output_), start, nullptr, FILE_BEGIN) == FALSE ||
        ReadFile(handleOf(output_), &text[0], length, &got, nullptr) == FALSE)
        return "";
    text.resize(got);
    return text;
}

std::string programBeside(const char* name) {
    wchar_t path[MAX_PATH];
    const DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) return "";
    std::wstring out(path, length);
    out.erase(out.rfind(L'\\') + 1).append(widen(name)).append(SUFFIX);
    return GetFileAttributesW(out.c_str()) != INVALID_FILE_ATTRIBUTES ? narrow(out) : "";
}

bool isErrorTerminal() {
    return _isatty(_fileno(stderr)) != 0;
}

}  // namespace platform
