// The two hubs of the process and the listeners attached to them.
#ifndef OVPATCH_LOGGING_LOG_HUB_H
#define OVPATCH_LOGGING_LOG_HUB_H

#include <cstdint>
#include <limits>

#include "logging/log_event.h"

namespace ovpatch {

// What can be attached to a hub.
class LogListener {
public:
    // Takes a record, which is good during the call only. The hub does not look at the answer.
    virtual std::int32_t handle(LogEvent* event) = 0;
    virtual ~LogListener() = default;
};

// A list of listeners, which it does not own.
class LogHub {
    struct Node {
        Node* previous;
        Node* next;
        LogListener* listener;
        std::int32_t lowestLevel;
    };

public:
    // A place in the list. Two are equal when they stand on the same place of the same list.
    class Iterator {
    public:
        explicit Iterator(const Node* node) : node_(node) {}
        LogListener* operator*() const { return node_->listener; }
        Iterator& operator++() {
            node_ = node_->next;
            return *this;
        }
        bool operator==(const Iterator& other) const { return node_ == other.node_; }
        bool operator!=(const Iterator& other) const { return node_ != other.node_; }

    private:
        const Node* node_;
    };

    LogHub();
    ~LogHub();
    LogHub(const LogHub&) = delete;
    LogHub& operator=(const LogHub&) = delete;

    // Puts a listener in front of all others. Without memory for it nothing is attached.
    void insertFront(LogListener* listener, std::int32_t lowestLevel);

    // Removes the first place that holds `listener`; nothing happens when none does.
    void remove(const LogListener* listener);

    Iterator begin() const { return Iterator(head_.next); }
    Iterator end() const { return Iterator(&tail_); }
    std::uint32_t count() const { return count_; }

    // Whether any listener does more with a record of that level than to drop it.
    bool wants(std::int32_t level) const;

private:
    void unlinkNode(Node* node);

    Node head_;
    Node tail_;
    std::uint32_t count_ = 0;
};

extern LogHub infoHub;
extern LogHub errorHub;

// Attach a listener, which the caller keeps, in front of the others. By `lowestLevel` the listener promises
// to drop every record below it, so that logPrintf need not even format those.
void attachInfoListener(LogListener* listener,
                        std::int32_t lowestLevel = std::numeric_limits<std::int32_t>::min());
void attachErrorListener(LogListener* listener,
                         std::int32_t lowestLevel = std::numeric_limits<std::int32_t>::min());

// Detach it again; nothing happens when it is not attached.
void detachInfoListener(const LogListener* listener);
void detachErrorListener(const LogListener* listener);

}  // namespace ovpatch

#endif
