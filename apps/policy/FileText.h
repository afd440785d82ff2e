#pragma once

/// The text of a file as a sequence of characters, read in blocks.
///
/// The parser takes its characters one by one through `Iterator`; no more than one block is in
/// memory. When the file cannot be read further, or is longer than was allowed, the sequence ends
/// early and `failure` tells why; whoever parses asks for it before believing the result.

#include <array>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string>

namespace LoamPolicy {

class FileText {
  public:
    FileText(std::filesystem::path const& path, std::size_t maxSize);
    ~FileText();
    FileText(FileText const&) = delete;
    FileText& operator=(FileText const&) = delete;

    /// Empty as long as nothing went wrong.
    std::string const& failure() const { return failure_; }

    class Iterator {
      public:
        using iterator_category = std::input_iterator_tag;
        using value_type = char;
        using difference_type = std::ptrdiff_t;
        using pointer = char const*;
        using reference = char const&;

        Iterator() = default;
        explicit Iterator(FileText& text) : text_(&text) { settle(); }

        reference operator*() const { return *text_->next_; }
        Iterator& operator++() {
            ++text_->next_;
            settle();
            return *this;
        }
        void operator++(int) { ++*this; }
        bool operator==(Iterator const& other) const { return text_ == other.text_; }

      private:
        /// An iterator without text is the end.
        void settle() {
            if (text_->next_ == text_->end_ && !text_->refill()) {
                text_ = nullptr;
            }
        }

        FileText* text_{};
    };

    Iterator begin() { return Iterator(*this); }
    static Iterator end() { return {}; }

  private:
    static constexpr std::size_t blockSize = std::size_t{64} * 1024;

    bool refill();

    int file_{-1};
    std::size_t maxSize_;
    std::size_t totalSize_{};
    std::string failure_;
    char const* next_{};
    char const* end_{};
    std::array<char, blockSize> block_;
};

} // namespace LoamPolicy
