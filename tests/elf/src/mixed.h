// Code in a header, so that one unit has lines of two files.
static inline int Clamp(int Value, int Limit) {
    if (Value > Limit) {
        return Limit;
    }
    return Value < -Limit ? -Limit : Value;
}
