// A library that exports nothing.
namespace
{

[[gnu::used]] int answer() { return 42; }

}  // namespace
