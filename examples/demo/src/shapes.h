#pragma once
#include <stdint.h>

typedef enum { SHAPE_NONE, SHAPE_CIRCLE, SHAPE_SQUARE, SHAPE_TRIANGLE } SHAPE_KIND;

typedef struct {
    int16_t x;
    int16_t y;
} POINT;

typedef struct SHAPE {
    const char* sName;
    SHAPE_KIND Kind;
    POINT Pos;
    uint32_t Size;
    struct SHAPE* pNext;
} SHAPE;

#define NUM_SHAPES 4

extern SHAPE Shapes[NUM_SHAPES];

// Area in square units; circles with pi taken as 22/7.
uint32_t Shape_GetArea(const SHAPE* pShape);

// Moves each shape of the list that starts at pFirst by (dx, dy).
void Shape_MoveAll(SHAPE* pFirst, int16_t dx, int16_t dy);
