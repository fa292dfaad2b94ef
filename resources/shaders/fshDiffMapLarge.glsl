#prelude es3
// The frame aligner's diff pass: 121 scores from 32 x 32 blocks of its
// 352 x 352 test map.
#prelude diff_map
