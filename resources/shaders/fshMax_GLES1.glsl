#prelude es2
// First half of the min-max closing: the neighbourhood maximum.
#define CLOSING_OP max
#prelude closing_pass
