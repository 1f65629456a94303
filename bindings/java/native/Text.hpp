/// Texts between Java and this library.
///
/// Values are UTF-16 on both sides and pass unit by unit. Names of nodes, levels and functions are UTF-8
/// here; bytes that are no UTF-8 are lone surrogates U+DC80 to U+DCFF in Java, and the same bytes again on
/// the way back.
#pragma once

#include "Machine.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace vksettings::java {

/// std::invalid_argument for null.
std::u16string textOf(JNIEnv& env, jstring text);
/// std::invalid_argument for null and for other lone surrogates.
std::string nameOf(JNIEnv& env, jstring name);

/// Local references. std::length_error for what no Java string holds.
jstring javaText(JNIEnv& env, std::u16string_view text);
jobjectArray javaTexts(JNIEnv& env, const std::vector<std::u16string>& texts);
jstring javaName(JNIEnv& env, std::string_view name);

} // namespace vksettings::java
