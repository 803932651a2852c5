// Finding a node of a linked list by its name without walking the list.
#ifndef OVPATCH_INI_LIST_INDEX_H
#define OVPATCH_INI_LIST_INDEX_H

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "foundation/byte_string.h"
#include "foundation/out_of_memory.h"
#include "ini/ini_names.h"

namespace ovpatch {

// Answers what a search from the front of a list would find: the first node whose name equals the one asked
// for (see equalNames). A short list is searched just so. At the first search that leads further than a
// handful of nodes a hash table is built, and kept from then on.
//
// `Node` has name(), a ByteString whose text up to the first zero byte never changes while the node is
// listed, `next`, and `nextSame`, which belongs to the index. The owner reports each node that it appends at
// the end of the list and each that it removes; the index owns no node.
//
// A slot of the table (linear probing, no more than three quarters full) holds the last of the nodes that
// share a name; nextSame leads from it to the first and on in list order, so that appending one of many
// equals and removing the first of them cost the same as with a single one.
template <typename Node>
class ListIndex {
public:
    explicit ListIndex(bool caseSensitive) : caseSensitive_(caseSensitive) {}
    ~ListIndex() { std::free(slots_); }
    ListIndex(const ListIndex&) = delete;
    ListIndex& operator=(const ListIndex&) = delete;

    // The first node of that name in the list that begins with `first` (null for an empty list), or null.
    Node* find(Node* first, std::string_view name) {
        if (slots_ == nullptr) {
            Node* node = first;
            for (std::uint32_t walked = 0; walked < HANDFUL; ++walked, node = node->next) {
                if (node == nullptr) return nullptr;
                if (isNamed(*node, name)) return node;
            }
            if (node == nullptr) return nullptr;
            build(first);
        }
        Node* const last = slots_[slotOf(name)];
        return last == nullptr ? nullptr : last->nextSame;
    }

    // `node` is now the last of its list.
    void added(Node& node) {
        if (slots_ == nullptr) return;
        if (names_ >= roomOf(mask_ + 1)) enlarge();
        insert(node);
    }

    // `node`, the first of its name in its list, leaves the list.
    void removed(Node& node) {
        if (slots_ == nullptr) return;
        const std::uint32_t slot = slotOf(textOf(node));
        Node* const last = slots_[slot];
        if (last == &node) {
            closeGap(slot);
            --names_;
        } else {
            last->nextSame = node.nextSame;
        }
    }

    // The list is empty now.
    void clear() {
        std::free(slots_);
        slots_ = nullptr;
    }

private:
    static constexpr std::uint32_t HANDFUL = 16;
    static constexpr std::uint32_t FIRST_SLOTS = 64;

    // The names that so many slots take, at most.
    static std::uint32_t roomOf(std::uint32_t slots) { return slots / 4 * 3; }

    static std::string_view textOf(const Node& node) { return std::string_view(node.name().cStr()); }

    bool isNamed(const Node& node, std::string_view name) const {
        return equalNames(textOf(node), name, caseSensitive_);
    }

    std::uint32_t homeOf(std::string_view name) const { return nameHash(name, caseSensitive_) & mask_; }

    // Where the name stands, or the free slot where it would.
    std::uint32_t slotOf(std::string_view name) const {
        std::uint32_t slot = homeOf(name);
        while (slots_[slot] != nullptr && !isNamed(*slots_[slot], name))
            slot = (slot + 1) & mask_;
        return slot;
    }

    void allocate(std::uint32_t count) {
        slots_ = static_cast<Node**>(std::calloc(count, sizeof(Node*)));
        if (slots_ == nullptr) outOfMemory("an index");
        mask_ = count - 1;
        names_ = 0;
    }

    void build(Node* first) {
        allocate(FIRST_SLOTS);
        for (Node* node = first; node != nullptr; node = node->next)
            added(*node);
    }

    void insert(Node& node) {
        Node*& last = slots_[slotOf(textOf(node))];
        if (last == nullptr) {
            node.nextSame = &node;
            ++names_;
        } else {
            node.nextSame = last->nextSame;
            last->nextSame = &node;
        }
        last = &node;
    }

    void enlarge() {
        Node** const old = slots_;
        const std::uint32_t oldCount = mask_ + 1;
        allocate(2 * oldCount);
        for (std::uint32_t i = 0; i < oldCount; ++i) {
            if (old[i] == nullptr) continue;
            slots_[slotOf(textOf(*old[i]))] = old[i];
            ++names_;
        }
        std::free(old);
    }

    // Empties a slot. Names behind it that were pushed out of their home slot move up, so that every probe
    // still meets its name before a free slot.
    void closeGap(std::uint32_t gap) {
        std::uint32_t slot = gap;
        for (;;) {
            slot = (slot + 1) & mask_;
            if (slots_[slot] == nullptr) break;
            const std::uint32_t home = homeOf(textOf(*slots_[slot]));
            if (((slot - home) & mask_) < ((slot - gap) & mask_)) continue;
            slots_[gap] = slots_[slot];
            gap = slot;
        }
        slots_[gap] = nullptr;
    }

    Node** slots_ = nullptr;
    std::uint32_t mask_ = 0;   // number of slots, a power of two, less 1
    std::uint32_t names_ = 0;  // slots in use
    bool caseSensitive_;
};

}  // namespace ovpatch

#endif
