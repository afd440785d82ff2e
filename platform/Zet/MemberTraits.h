#pragma once

#include <tuple>
#include <type_traits>

// What a pointer to a member function, or to a function of a class as a whole, says of it.
namespace Zet::Impl {

template <typename C, typename R, bool constant, typename... Args>
struct MemberSignature {
    using Class = C; // void for a function that needs no object
    using Result = R;
    using Arguments = std::tuple<Args...>;
    static constexpr std::size_t argumentCount = sizeof...(Args);
    static constexpr bool isConst = constant;
};

template <typename F>
struct MemberTraits;
template <typename C, typename R, typename... Args>
struct MemberTraits<R (C::*)(Args...)> : MemberSignature<C, R, false, Args...> {};
template <typename C, typename R, typename... Args>
struct MemberTraits<R (C::*)(Args...) const> : MemberSignature<C, R, true, Args...> {};
template <typename C, typename R, typename... Args>
struct MemberTraits<R (C::*)(Args...) noexcept> : MemberSignature<C, R, false, Args...> {};
template <typename C, typename R, typename... Args>
struct MemberTraits<R (C::*)(Args...) const noexcept> : MemberSignature<C, R, true, Args...> {};
template <typename R, typename... Args>
struct MemberTraits<R (*)(Args...)> : MemberSignature<void, R, true, Args...> {};
template <typename R, typename... Args>
struct MemberTraits<R (*)(Args...) noexcept> : MemberSignature<void, R, true, Args...> {};

} // namespace Zet::Impl
