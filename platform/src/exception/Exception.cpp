#include "varnek/exception/Exception.hpp"

namespace varnek::exception {

Exception::~Exception() = default;

} // namespace varnek::exception
