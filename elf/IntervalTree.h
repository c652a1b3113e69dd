#pragma once

// A centred interval tree over {Start, Stop (inclusive), Value}: a node holds the intervals that span its centre, those
// wholly below it go left and those wholly above it right. It is built once and then asked from under ElfApi's lock.

#include "base/Types.h"

#include <memory>
#include <vector>

struct ELF_INTERVAL {
    U32 Start;
    U32 Stop; ///< inclusive
    U64 Value;
};

class CIntervalTree {
public:
    CIntervalTree() = default;
    /// Replaces the content. Intervals with Stop below Start are left out.
    void Build(std::vector<ELF_INTERVAL> Intervals);
    void Clear() { m_pRoot.reset(); }
    /// Appends the values of all intervals that overlap [Start, Stop], outer nodes first.
    void Query(U32 Start, U32 Stop, std::vector<U64>* pValues) const;

private:
    struct NODE {
        U32 Center = 0;
        std::vector<ELF_INTERVAL> Intervals;
        std::unique_ptr<NODE> pLeft;
        std::unique_ptr<NODE> pRight;
    };
    static std::unique_ptr<NODE> Make(std::vector<ELF_INTERVAL> Intervals, int Depth);
    static void QueryNode(const NODE* pNode, U32 Start, U32 Stop, std::vector<U64>* pValues);
    std::unique_ptr<NODE> m_pRoot;
};
