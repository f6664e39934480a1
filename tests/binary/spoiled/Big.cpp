// Larger than the panel's share for the driver.
extern "C" const unsigned char kSpoiledBytes[98304];
const unsigned char kSpoiledBytes[98304] = {1};
