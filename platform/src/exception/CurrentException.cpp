#include "varnek/exception/CurrentException.hpp"

#include <exception>

namespace varnek::exception {

std::string causeOfCurrentException(std::string_view unknown) {
    try {
        throw;
    } catch (const std::exception& failure) {
        return failure.what();
    } catch (...) {
        return std::string(unknown);
    }
}

} // namespace varnek::exception
