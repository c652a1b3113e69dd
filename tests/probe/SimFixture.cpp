#include "SimFixture.h"

#include <cstring>
#include <elf.h>
#include <fstream>
#include <iterator>

CSimFixture::CSimFixture(Thumb::EArch Arch, bool HasFpu, Sim::ERegion CodeKind) {
    Sim::CCoreTraits Traits;
    Traits.Arch = Arch;
    Traits.HasFpu = HasFpu;
    Traits.CpuId = Arch == Thumb::ARCH_V6M   ? 0x410CC200
                   : Arch == Thumb::ARCH_V8B ? 0x411CD200
                   : Arch == Thumb::ARCH_V7M ? 0x412FC231
                   : Arch == Thumb::ARCH_V8M ? 0x411FD210
                                             : 0x410FC241;
    Traits.HasBitBand = Arch == Thumb::ARCH_V7M || Arch == Thumb::ARCH_V7EM;
    pCpu = std::make_unique<Sim::CCpu>(Traits);
    pCpu->Mem.AddRegion(CodeKind, 0, 0x400000);
    pCpu->Mem.AddRegion(Sim::ERegion::Ram, 0x20000000, 0x400000);
    if (Arch == Thumb::ARCH_V8M) {
        pCpu->Mem.AddRegion(Sim::ERegion::Ram, 0x28000000, 0x200000);
    }
}

void CSimFixture::Load(const std::vector<uint16_t>& Code) {
    const uint32_t Vectors[2] = {STACK, CODE | 1};
    pCpu->Mem.Write(0, Vectors, sizeof(Vectors));
    pCpu->Mem.Write(CODE, Code.data(), static_cast<uint32_t>(Code.size() * 2));
    pCpu->Reset();
}

void CSimFixture::ResetTo(uint32_t VectorTable) {
    uint32_t Vectors[2] = {};
    pCpu->Reset();
    pCpu->Mem.Read(VectorTable, Vectors, sizeof(Vectors));
    pCpu->Vtor = VectorTable;
    pCpu->R[13] = Vectors[0];
    pCpu->Pc = Vectors[1] & ~1u;
    pCpu->T = true;
}

void CSimFixture::LoadImage(uint32_t Addr, const std::vector<uint16_t>& Image) {
    pCpu->Mem.Write(Addr, Image.data(), static_cast<uint32_t>(Image.size() * 2));
    ResetTo(Addr);
}

void CSimFixture::LoadElf(const std::string& sPath, uint32_t VectorTable) {
    std::ifstream File(sPath, std::ios::binary);
    const std::vector<char> Data((std::istreambuf_iterator<char>(File)), {});
    ASSERT_GT(Data.size(), sizeof(Elf32_Ehdr)) << sPath;
    Elf32_Ehdr Header;
    std::memcpy(&Header, Data.data(), sizeof(Header));
    for (int Index = 0; Index < Header.e_phnum; Index++) {
        Elf32_Phdr Segment;
        std::memcpy(&Segment, &Data[Header.e_phoff + static_cast<size_t>(Index) * Header.e_phentsize], sizeof(Segment));
        if (Segment.p_type == PT_LOAD && Segment.p_filesz) {
            pCpu->Mem.Write(Segment.p_paddr, &Data[Segment.p_offset], Segment.p_filesz);
        }
    }
    ResetTo(VectorTable);
}
