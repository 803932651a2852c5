// A library with one entry, for the tests of loading.
#ifdef _WIN32
#define EXPORTED extern "C" __declspec(dllexport)
#else
#define EXPORTED extern "C"
#endif

EXPORTED int answerOfTestLibrary() {
    return 42;
}
