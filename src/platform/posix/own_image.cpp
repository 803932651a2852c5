#include <elf.h>
#include <link.h>

#include "platform/library_lookup.h"

// The head of the program's own file, which the linker lays at the front of what is loaded.
extern "C" const ElfW(Ehdr) ownHead __asm__("__ehdr_start") __attribute__((visibility("hidden")));

platform::ImageKind platform::ownImageKind() {
    return {true, sizeof(void*) * 8, ownHead.e_ident[EI_DATA] == ELFDATA2MSB, ownHead.e_machine};
}
