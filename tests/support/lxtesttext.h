// The one helper all tests use to look at the text of an exception.
#pragma once

#include <GenICam/GCException.h>

#include <string>

namespace lxtest {

// The description of the exception of type E that f throws. Anything else says what it was, so that a
// comparison with the expected text fails with the reason: "<no exception>", or the type and text of
// another GenICam exception.
template <class E, class F>
std::string TextOf(F&& f) {
    try {
        f();
    } catch (const E& e) {
        return e.GetDescription();
    } catch (const GenICam::GenericException& e) {
        return std::string("<") + e.GetExceptionType() + ": " + e.GetDescription() + ">";
    }
    return "<no exception>";
}

} // namespace lxtest
