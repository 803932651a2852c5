#define OVPATCH_TESTS_FAULTY_ALLOCATION_ITSELF
#include "tests/ovpatch/faulty_allocation.h"

namespace {

int failing = 0;
int count = 0;

bool fails() {
    return ++count == failing;
}

}  // namespace

void faulty::arm(int number) {
    failing = number;
    count = 0;
}

int faulty::asked() {
    return count;
}

void* std::faultyMalloc(std::size_t size) {
    return fails() ? nullptr : std::malloc(size);
}
void* std::faultyCalloc(std::size_t number, std::size_t size) {
    return fails() ? nullptr : std::calloc(number, size);
}
void* std::faultyRealloc(void* block, std::size_t size) {
    return fails() ? nullptr : std::realloc(block, size);
}
