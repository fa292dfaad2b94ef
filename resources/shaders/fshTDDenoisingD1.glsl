#prelude es3
// Time-domain denoising, first cheaper level: the four newest history
// frames and the four neighbouring taps of the current frame.
#define HISTORY_FRAMES 4
#define NEIGHBOUR_TAPS 4
#prelude td_denoising
