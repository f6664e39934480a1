#include <cstdlib>
#include <string>

extern std::string spoiledText;
std::string spoiledText(std::getenv("PATH"));
