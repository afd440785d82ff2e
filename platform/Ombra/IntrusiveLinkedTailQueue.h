#pragma once

#include <Ombra/Assert.h>

// A chain of elements that carry their own link: circular and singly linked, held by its tail.
//
// The queue is one pointer wide and null when empty. The tail's link leads to the head, so both
// ends are one step away; the link of an element that is in no queue is null. The queue owns
// nothing.
//
// An element offers `IntrusiveTailLink<T> link_`, which asserts when it dies that it was taken out
// of its queue before. `push`, `pop`, `head` and `tail` cost constant time; `remove` walks.
namespace Ombra {

template <typename T>
class IntrusiveLinkedTailQueue;

template <typename T>
class IntrusiveTailLink {
  public:
    IntrusiveTailLink() = default;
    IntrusiveTailLink(IntrusiveTailLink const&) = delete;
    IntrusiveTailLink& operator=(IntrusiveTailLink const&) = delete;
    ~IntrusiveTailLink() { OMBRA_ASSERT(!linked(), "!linked()"); }

    bool linked() const noexcept { return next_ != nullptr; }

  private:
    friend class IntrusiveLinkedTailQueue<T>;
    T* next_ = nullptr;
};

template <typename T>
class IntrusiveLinkedTailQueue {
  public:
    bool empty() const noexcept { return tail_ == nullptr; }
    T* tail() const noexcept { return tail_; }
    T* head() const noexcept { return tail_ == nullptr ? nullptr : tail_->link_.next_; }

    // The element behind `element`; null behind the tail.
    T* next(T const& element) const noexcept {
        return &element == tail_ ? nullptr : element.link_.next_;
    }

    // Links `element` behind the tail, where it becomes the tail.
    void push(T& element) {
        OMBRA_ASSERT(!element.link_.linked(), "!linked()");
        if (tail_ == nullptr) {
            element.link_.next_ = &element;
        } else {
            element.link_.next_ = tail_->link_.next_;
            tail_->link_.next_ = &element;
        }
        tail_ = &element;
    }

    // Unlinks the head and gives it up.
    T& pop() {
        OMBRA_ASSERT(tail_ != nullptr, "tail_ != nullptr");
        T& head = *tail_->link_.next_;
        unlinkBehind(*tail_);
        return head;
    }

    // Unlinks an element that is in this queue.
    void remove(T& element) {
        OMBRA_ASSERT(tail_ != nullptr, "tail_ != nullptr");
        T* before = tail_;
        while (before->link_.next_ != &element) {
            before = before->link_.next_;
        }
        unlinkBehind(*before);
    }

  private:
    void unlinkBehind(T& before) noexcept {
        T& gone = *before.link_.next_;
        if (&gone == &before) {
            tail_ = nullptr;
        } else {
            before.link_.next_ = gone.link_.next_;
            if (tail_ == &gone) {
                tail_ = &before;
            }
        }
        gone.link_.next_ = nullptr;
    }

    T* tail_ = nullptr;
};

} // namespace Ombra
