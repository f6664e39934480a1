extern "C" void mayBeMissing() __attribute__((weak));
extern "C" void spoiledCall();
extern "C" void spoiledCall()
{
    if (mayBeMissing != nullptr) mayBeMissing();
}
