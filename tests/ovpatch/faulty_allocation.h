// Allocations that fail on demand: included in front of a source, it sends the source's std::malloc,
// std::calloc and std::realloc here.
#ifndef OVPATCH_TESTS_OVPATCH_FAULTY_ALLOCATION_H
#define OVPATCH_TESTS_OVPATCH_FAULTY_ALLOCATION_H

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace faulty {

// The allocation with this number, counted from 1 since `arm`, fails; 0 is none.
void arm(int number);

// How many were asked for since `arm`.
int asked();

}  // namespace faulty

namespace std {
void* faultyMalloc(size_t size);
void* faultyCalloc(size_t count, size_t size);
void* faultyRealloc(void* block, size_t size);
}  // namespace std

#ifndef OVPATCH_TESTS_FAULTY_ALLOCATION_ITSELF
#define malloc faultyMalloc
#define calloc faultyCalloc
#define realloc faultyRealloc
#endif

#endif
