// Nothing wrong with it but the flags that it is compiled with.
extern "C" double spoiledSum(double left, double right);
extern "C" double spoiledSum(double left, double right) { return left + right; }
