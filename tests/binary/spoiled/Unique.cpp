// Bound like the static variable of an inline function that is compiled with -fgnu-unique.
asm(".data\n"
    ".globl SpoiledCount\n"
    ".type SpoiledCount, %gnu_unique_object\n"
    ".size SpoiledCount, 4\n"
    "SpoiledCount:\n"
    ".long 1\n"
    ".text\n");
