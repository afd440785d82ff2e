#pragma once

#include <LoamSystemAcl/TableInUse.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Inspect/Object.h>
#include <string>
#include <string_view>

// A table in use, driven by names alone. What a test does to it in C++ is in TableInUse.h.
namespace LoamSystemAcl {

class InspectTable : public TableInUse {
  protected:
    static Inspect::Value keyOf(unsigned number) { return Inspect::Value{number}; }
    Inspect::Value valueOf(unsigned number, unsigned value = 1) const {
        return Inspect::Value::record(entryType(), number, entryOf(number, value).fields());
    }
    Ombra::ValueType const& entryType() const {
        return *inspected.attribute("entryWrite").arguments[1].type;
    }

    // The code of the error that a call ends with, and its text; fails when it ends without one.
    struct Refusal {
        Inspect::Error::Code code{};
        std::string text;
    };
    template <typename Function>
    static Refusal refusalOf(Function&& function) {
        try {
            function();
        } catch (Inspect::Error const& error) {
            return {error.code(), error.msg().str()};
        }
        ADD_FAILURE() << "nothing was refused";
        return {};
    }

    Inspect::Object inspected{table};
    Inspect::Value const none{};
};

} // namespace LoamSystemAcl
