extern "C" void isMissing();
extern "C" void spoiledCall();
extern "C" void spoiledCall() { isMissing(); }
