// Handlers of the DSP extension and of floating point.
#include "probe/sim/Handlers.h"

namespace Sim {

void Op_Dsp(SIM_ARGS) {
    SIM_SYNC();
    C.RaiseFault(EXC_USAGE_FAULT, CFSR_UNDEFINSTR);
    SIM_TAIL LeaveChain(C, pOp, PC, pRing);
}

void Op_Vfp(SIM_ARGS) {
    SIM_SYNC();
    C.RaiseFault(EXC_USAGE_FAULT, CFSR_NOCP);
    SIM_TAIL LeaveChain(C, pOp, PC, pRing);
}

} // namespace Sim
