#include <clocale>

extern "C" void spoiledCall();
extern "C" void spoiledCall() { std::setlocale(LC_ALL, ""); }
