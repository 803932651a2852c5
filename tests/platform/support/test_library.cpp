// A library with one entry, for the tests of loading. It uses the C library, so that it depends on another.
#include <cstdlib>

#ifdef _WIN32
#define EXPORTED extern "C" __declspec(dllexport)
#else
#define EXPORTED extern "C"
#endif

EXPORTED int answerOfTestLibrary() {
    return static_cast<int>(std::strtol("42", nullptr, 10));
}
