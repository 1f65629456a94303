/// Failures of functions in words for the log.
#pragma once

#include <exception>
#include <string>

namespace settings::core::detail {

/// The text of the failure and, where it carries one, its cause in the words of the called side. UTF-8.
std::string reasonOf(const std::exception& failure);

} // namespace settings::core::detail
