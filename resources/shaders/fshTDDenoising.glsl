#prelude es3
// Time-domain denoising, full quality: all seven history frames and the
// four neighbouring taps of the current frame.
#define HISTORY_FRAMES 7
#define NEIGHBOUR_TAPS 4
#prelude td_denoising
