#prelude es3
// Time-domain denoising, cheapest level: the two newest history frames and
// one diagonal pair of neighbouring taps.
#define HISTORY_FRAMES 2
#define NEIGHBOUR_TAPS 2
#prelude td_denoising
