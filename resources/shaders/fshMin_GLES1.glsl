#prelude es2
// Second half of the min-max closing: the neighbourhood minimum.
#define CLOSING_OP min
#prelude closing_pass
