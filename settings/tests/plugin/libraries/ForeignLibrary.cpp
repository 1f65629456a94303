// A library that has nothing to do with settings, but a function of a fitting name.

extern "C" __attribute__((visibility("default"))) void mustBeEven() {}
