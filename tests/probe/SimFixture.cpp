#include "SimFixture.h"

#include <cstring>
#include <elf.h>
#include <fstream>
#include <iterator>

CSimFixture::CSimFixture(Thumb::EArch Arch) {
    Sim::CCoreTraits Traits;
    Traits.Arch = Arch;
    pCpu = std::make_unique<Sim::CCpu>(Traits);
    pCpu->Mem.AddRegion(Sim::ERegion::Flash, 0, 0x100000);
    pCpu->Mem.AddRegion(Sim::ERegion::Ram, 0x20000000, 0x100000);
}

void CSimFixture::Load(const std::vector<uint16_t>& Code) {
    const uint32_t Vectors[2] = {STACK, CODE | 1};
    pCpu->Mem.Write(0, Vectors, sizeof(Vectors));
    pCpu->Mem.Write(CODE, Code.data(), static_cast<uint32_t>(Code.size() * 2));
    pCpu->Reset();
}

void CSimFixture::LoadElf(const std::string& sPath) {
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
    pCpu->Reset();
}
