#include "elf/IntervalTree.h"

#include <algorithm>

namespace {

constexpr int MAX_DEPTH = 16;
constexpr size_t LEAF_SIZE = 64;

} // namespace

void CIntervalTree::Build(std::vector<ELF_INTERVAL> Intervals) {
    std::erase_if(Intervals, [](const ELF_INTERVAL& Item) { return Item.Stop < Item.Start; });
    std::stable_sort(Intervals.begin(), Intervals.end(),
                     [](const ELF_INTERVAL& a, const ELF_INTERVAL& b) { return a.Start < b.Start; });
    m_pRoot = Intervals.empty() ? nullptr : Make(std::move(Intervals), MAX_DEPTH);
}

std::unique_ptr<CIntervalTree::NODE> CIntervalTree::Make(std::vector<ELF_INTERVAL> Intervals, int Depth) {
    auto pNode = std::make_unique<NODE>();
    pNode->Center = Intervals[Intervals.size() / 2].Start;
    if (Depth == 0 || Intervals.size() < LEAF_SIZE) {
        pNode->Intervals = std::move(Intervals);
        return pNode;
    }
    std::vector<ELF_INTERVAL> Left;
    std::vector<ELF_INTERVAL> Right;
    for (const ELF_INTERVAL& Item : Intervals) {
        std::vector<ELF_INTERVAL>& Target = Item.Stop < pNode->Center    ? Left
                                            : Item.Start > pNode->Center ? Right
                                                                         : pNode->Intervals;
        Target.push_back(Item);
    }
    pNode->pLeft = Left.empty() ? nullptr : Make(std::move(Left), Depth - 1);
    pNode->pRight = Right.empty() ? nullptr : Make(std::move(Right), Depth - 1);
    return pNode;
}

void CIntervalTree::QueryNode(const NODE* pNode, U32 Start, U32 Stop, std::vector<U64>* pValues) {
    for (; pNode != nullptr; pNode = Start > pNode->Center ? pNode->pRight.get() : nullptr) {
        for (const ELF_INTERVAL& Item : pNode->Intervals) {
            if (Item.Start > Stop) {
                break; // in order of start
            }
            if (Item.Stop >= Start) {
                pValues->push_back(Item.Value);
            }
        }
        if (Start < pNode->Center) {
            QueryNode(pNode->pLeft.get(), Start, Stop, pValues);
        }
        if (Start <= pNode->Center && Stop > pNode->Center) {
            QueryNode(pNode->pRight.get(), Start, Stop, pValues);
        }
    }
}

void CIntervalTree::Query(U32 Start, U32 Stop, std::vector<U64>* pValues) const {
    QueryNode(m_pRoot.get(), Start, Stop, pValues);
}
