#pragma once

#include <algorithm>
#include <climits>
#include <functional>
#include <new>
#include <utility>
#include <vector>

#include "tests/support/Items.h"
#include "tests/support/Play.h"

namespace qxtest {

/// What an operation answers when it is not the number of an element, a place or a bool.
enum Answer : int { OutOfRange = INT_MIN, NoElement, Changed, Failed };

/// Runs an operation, which it makes fail or not as the number says.
using Failures = std::function<void(int fate, const std::function<void()>& operation)>;

/// An element for a collection, and its number for the model.
struct Argument {
    int number;
    IQXUnknown* element;
    Element owner = {};

    operator int() const { return number; }
    operator IQXUnknown*() const { return element; }
};

/// Elements for a collection, and their numbers for the model.
struct Arguments {
    const qx::collections::pcom::Collection& collection;
    std::vector<int> numbers;

    bool contain(int number) const { return std::ranges::count(numbers, number) > 0; }
    operator const qx::collections::pcom::Collection&() const { return collection; }
};

/// Plays on a collection. An operation that is made to fail must change nothing.
class CollectionPlay : protected Play {
protected:
    explicit CollectionPlay(Failures failures) : m_failures(std::move(failures)) {}

    /// Runs an operation and requires its answer, unless it is made to fail.
    /// @return whether it did not fail
    bool expect(const char* what, int expected, auto&& operation) {
        const int answer = answerOf(operation);
        require(answer == Failed || answer == expected, what);
        return answer != Failed;
    }
    /// The same with what the operation answers when it is then run on the model.
    bool both(const char* what, auto& real, auto& model, auto&& operation) {
        const int answer = answerOf([&] { return operation(real); });
        if (answer != Failed)
            require(answer == numberOf([&] { return operation(model); }), what);
        return answer != Failed;
    }

    /// Removes, retains or looks for the elements of a collection.
    bool useMany(int what, auto& real, auto& model, const Arguments& them) {
        if (what == 0)
            return both("removeAll", real, model, [&](auto& its) { return its.removeAll(them); });
        if (what == 1)
            return both("retainAll", real, model, [&](auto& its) { return its.retainAll(them); });
        return both("containsAll", real, model, [&](auto& its) { return its.containsAll(them); });
    }

    /// Few values, so that there are equal ones; sometimes null.
    int value() { return byte() % 8 - 1; }
    /// A new element that nobody owns.
    static Argument fresh(int number) {
        return {number, number == Null ? nullptr : (new Item(number))->GetUnknown()};
    }
    /// One to look for.
    static Argument sought(int number) {
        Element element = item(number);
        return {number, element.get(), element};
    }

    int answerOf(auto&& operation) {
        int answer = 0;
        const auto run = [&] { answer = numberOf(operation); };
        try {
            m_failures ? m_failures(byte(), run) : run();
        } catch (const qx::RangeErrorException&) {
            return OutOfRange;
        } catch (const qx::IllegalStateException&) {
            return NoElement;
        } catch (const std::bad_alloc&) {
            return Failed;
        } catch (const FailingComparator::Thrown&) {
            return Failed;
        } catch (const qx::Exception& exception) {
            return exception.getResult() == FailingComparator::Failure ? Failed : Changed;
        }
        return answer;
    }

private:
    static int numberOf(auto&& operation) try {
        using Result = decltype(operation());
        if constexpr (std::is_void_v<Result>)
            return operation(), 0;
        else if constexpr (std::is_convertible_v<Result, const IQXUnknown*>)
            return valueOf(operation());
        else
            return static_cast<int>(operation());
    } catch (const Answer& ofModel) {
        return ofModel;
    }

    Failures m_failures;
};

} // namespace qxtest
