extern "C" int spoiledValue;
int spoiledValue = 1;

// An absolute address among the code.
asm(".text\n"
    ".balign 8\n"
    ".dc.a spoiledValue\n");
