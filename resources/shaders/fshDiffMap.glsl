#prelude es3
// The stabiliser's diff pass: 81 scores from 16 x 16 blocks of its 144 x 144
// test map.
#prelude diff_map
