#pragma once

#include <fmt/format.h>

#include <compare>
#include <functional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>

// The system's string: a text by value, in bytes, that converts from and to the standard types at
// no cost beyond the copy.
namespace Ombra {

class String {
  public:
    String() = default;
    String(char const* text) : text_{text} {}
    String(std::string text) noexcept : text_{std::move(text)} {}
    String(std::string_view text) : text_{text} {}

    std::string const& str() const noexcept { return text_; }
    char const* c_str() const noexcept { return text_.c_str(); }
    std::size_t size() const noexcept { return text_.size(); }
    bool empty() const noexcept { return text_.empty(); }
    operator std::string_view() const noexcept { return text_; }

    String& operator+=(std::string_view tail) {
        text_ += tail;
        return *this;
    }
    friend String operator+(String left, std::string_view right) { return left += right; }

    friend bool operator==(String const&, String const&) = default;
    friend auto operator<=>(String const&, String const&) = default;
    friend bool operator==(String const& left, char const* right) { return left.text_ == right; }
    friend std::ostream& operator<<(std::ostream& out, String const& text) {
        return out << text.text_;
    }

  private:
    std::string text_;
};

} // namespace Ombra

template <>
struct std::hash<Ombra::String> {
    std::size_t operator()(Ombra::String const& text) const noexcept {
        return std::hash<std::string>{}(text.str());
    }
};

template <>
struct fmt::formatter<Ombra::String> : fmt::formatter<std::string_view> {
    template <typename Context>
    auto format(Ombra::String const& text, Context& context) const {
        return fmt::formatter<std::string_view>::format(text.str(), context);
    }
};
