#include "Texts.hpp"

#include <cstring>

namespace py = pybind11;

namespace settings::python {

std::u16string utf16(py::handle text) {
    const auto bytes = py::reinterpret_steal<py::object>(
        PyUnicode_AsEncodedString(text.ptr(), "utf-16-le", "surrogatepass"));
    if (!bytes)
        throw py::error_already_set();
    const auto size = static_cast<std::size_t>(PyBytes_GET_SIZE(bytes.ptr()));
    std::u16string result(size / sizeof(char16_t), u'\0');
    if (size != 0)
        std::memcpy(result.data(), PyBytes_AS_STRING(bytes.ptr()), size);
    return result;
}

py::object pythonText(std::u16string_view text) {
    int littleEndian = -1;
    auto result = py::reinterpret_steal<py::object>(PyUnicode_DecodeUTF16(
        reinterpret_cast<const char*>(text.data()), static_cast<Py_ssize_t>(text.size() * sizeof(char16_t)),
        "surrogatepass", &littleEndian));
    if (!result)
        throw py::error_already_set();
    return result;
}

py::object pythonText(std::string_view text) {
    auto result = py::reinterpret_steal<py::object>(
        PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "surrogateescape"));
    if (!result)
        throw py::error_already_set();
    return result;
}

} // namespace settings::python
