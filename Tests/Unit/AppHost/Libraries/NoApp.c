/* A library that is no app at all. */
int nothing(void);
int nothing(void) {
    return 0;
}
