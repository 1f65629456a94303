/// Texts of Python and UTF-16 texts, lone surrogates included. Needs the interpreter lock.
#pragma once

#include <pybind11/pybind11.h>

#include <string>
#include <string_view>

namespace settings::python {

/// `text` is a str.
std::u16string utf16(pybind11::handle text);
pybind11::object pythonText(std::u16string_view text);
/// UTF-8 that may not be well-formed, for messages.
pybind11::object pythonText(std::string_view text);

} // namespace settings::python
