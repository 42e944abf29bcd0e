#pragma once

#include <algorithm>
#include <climits>
#include <functional>
#include <new>
#include <utility>
#include <vector>

#include <qx/collections/pcom/ArrayList.h>

#include "tests/support/Items.h"
#include "tests/support/Play.h"

namespace qxtest {

/// What an operation answers when it is not the number of an element, a place or a bool.
enum Answer : int { OutOfRange = INT_MIN, NoElement, Changed, Failed };

/// Runs an operation, which it makes fail or not as the number says.
using Failures = std::function<void(int fate, const std::function<void()>& operation)>;

/// Plays on a collection. An operation that is made to fail must change nothing.
class CollectionPlay : protected Play {
protected:
    explicit CollectionPlay(Failures failures) : m_failures(std::move(failures)) {}

    template <class Operation>
    int answerOf(Operation&& operation) {
        int answer = 0;
        const auto run = [&] { answer = operation(); };
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
    /// Plays on the collection and then, unless that failed, on the model.
    /// @return whether it did not fail
    template <class Operation, class ModelOperation>
    bool both(const char* what, Operation&& operation, ModelOperation&& onModel) {
        const int answer = answerOf(operation);
        if (answer != Failed)
            require(answer == static_cast<int>(onModel()), what);
        return answer != Failed;
    }

    /// Few values, so that there are equal ones; sometimes null.
    int value() { return byte() % 8 - 1; }
    /// A new element that nobody owns.
    static IQXUnknown* fresh(int value) {
        return value == Null ? nullptr : (new Item(value))->GetUnknown();
    }

    static bool contains(const std::vector<int>& numbers, int number) {
        return std::ranges::count(numbers, number) > 0;
    }

private:
    Failures m_failures;
};

/// A list of new elements with these values.
inline qx::Reference<qx::collections::pcom::ArrayList> listOf(const std::vector<int>& values) {
    auto list = qx::makeReference<qx::collections::pcom::ArrayList>();
    for (const int value : values)
        list->add(item(value));
    return list;
}

} // namespace qxtest
