extern "C" int* spoiledCounter();
extern "C" int* spoiledCounter()
{
    thread_local int counter = 1;
    return &counter;
}
