// A list of records: something to look at in the data windows.
#include "shapes.h"

SHAPE Shapes[NUM_SHAPES] = {
    {"circle", SHAPE_CIRCLE, {1, 2}, 7u, &Shapes[1]},
    {"square", SHAPE_SQUARE, {-3, 4}, 5u, &Shapes[2]},
    {"triangle", SHAPE_TRIANGLE, {5, -6}, 6u, &Shapes[3]},
    {"nothing", SHAPE_NONE, {0, 0}, 0u, 0},
};

uint32_t Shape_GetArea(const SHAPE* pShape) {
    uint32_t Square = pShape->Size * pShape->Size;

    switch (pShape->Kind) {
    case SHAPE_CIRCLE:
        return Square * 22u / 7u;
    case SHAPE_SQUARE:
        return Square;
    case SHAPE_TRIANGLE:
        return Square / 2u;
    default:
        return 0u;
    }
}

void Shape_MoveAll(SHAPE* pFirst, int16_t dx, int16_t dy) {
    for (SHAPE* pShape = pFirst; pShape != 0; pShape = pShape->pNext) {
        pShape->Pos.x = (int16_t)(pShape->Pos.x + dx);
        pShape->Pos.y = (int16_t)(pShape->Pos.y + dy);
    }
}
