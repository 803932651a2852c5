#include "logging/log_hub.h"

#include <new>

namespace ovpatch {

LogHub infoHub;
LogHub errorHub;

LogHub::LogHub() : head_{nullptr, &tail_, nullptr, 0}, tail_{&head_, nullptr, nullptr, 0} {}

LogHub::~LogHub() {
    for (Node* node = head_.next; node != &tail_;) {
        const Node* const gone = node;
        node = node->next;
        delete gone;
    }
}

void LogHub::insertFront(LogListener* listener, std::int32_t lowestLevel) {
    Node* node = new (std::nothrow) Node{&head_, head_.next, listener, lowestLevel};
    if (node == nullptr) return;
    head_.next->previous = node;
    head_.next = node;
    ++count_;
}

void LogHub::remove(const LogListener* listener) {
    for (Node* node = head_.next; node != &tail_; node = node->next) {
        if (node->listener == listener) {
            unlinkNode(node);
            return;
        }
    }
}

bool LogHub::wants(std::int32_t level) const {
    for (const Node* node = head_.next; node != &tail_; node = node->next) {
        if (level >= node->lowestLevel) return true;
    }
    return false;
}

void LogHub::unlinkNode(Node* node) {
    node->previous->next = node->next;
    node->next->previous = node->previous;
    --count_;
    delete node;
}

void attachInfoListener(LogListener* listener, std::int32_t lowestLevel) {
    infoHub.insertFront(listener, lowestLevel);
}

void attachErrorListener(LogListener* listener, std::int32_t lowestLevel) {
    errorHub.insertFront(listener, lowestLevel);
}

void detachInfoListener(const LogListener* listener) {
    infoHub.remove(listener);
}

void detachErrorListener(const LogListener* listener) {
    errorHub.remove(listener);
}

}  // namespace ovpatch
