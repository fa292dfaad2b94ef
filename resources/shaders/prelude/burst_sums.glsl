// The burst's running sums: one signed 16-bit integer per pixel and colour
// channel, each frame adding its channel value in 8-bit levels. Level steps
// are what the frames carry, so the sums are exact; 32767 / 255 bounds a
// burst to 128 frames.
const float kSumScale = 255.0;
const int kSumLimit = 32767;
