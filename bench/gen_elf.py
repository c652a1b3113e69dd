#!/usr/bin/env python3
"""Makes an ARM ELF file with 30 MB or more of .debug_info from generated C++.

    bench/gen_elf.py OUTPUT-FOLDER    writes large-4.elf and large-5.elf (DWARF 4 and 5), and of three units alone
                                      medium-4.elf and medium-5.elf

Units of classes, templates, structs, enums, inlined and plain functions are compiled by arm-none-eabi-g++. Eight of the
large programs' are linked eight times each, since everything in them has internal linkage, and one is linked once: its
names mean one thing.
"""
import os
import subprocess
import sys

UNITS, GROUPS, COPIES = 9, 220, 8
FLAGS = ['-mcpu=cortex-m4', '-mthumb', '-O1', '-ffreestanding', '-fno-exceptions', '-fno-rtti', '-w']

GROUP = '''
enum class Mode{i} : unsigned char {{ Off, Slow{i}, Fast{i} = 7 }};
struct Item{i} {{ int Id{i}; short aCorner[3][{n}]; const char *sName; Item{i} *pNext; unsigned Ready : 1, Kind : 5; }};
union Word{i} {{ unsigned Whole; unsigned char aByte[4]; Item{i} *pItem; }};
template <typename T> struct List{i} {{
    T aItem[{n}]; unsigned Num = 0;
    T &At(unsigned Idx) {{ return aItem[Idx % {n}]; }}
    bool Add(const T &Value) {{ if (Num < {n}) {{ aItem[Num++] = Value; return true; }} return false; }}
}};
class Base{i} {{ public: virtual int Run(int Value) {{ return Value + {i}; }} Mode{i} Mode = Mode{i}::Off; int Count = 0; }};
class Driver{i} : public Base{i} {{
public:
    int Run(int Value) override {{ int Total = m_Word.aByte[0]; for (int j = 0; j < Value; ++j) {{ int Part = Step(j); Total += Part; }} return Total; }}
    int Step(int Value) {{ Items.Add(Value); return Items.At(static_cast<unsigned>(Value)) * Scale{i}(Value); }}
    List{i}<int> Items; List{i}<short> Others; Item{i} First; Word{i} m_Word;
private:
    static int Scale{i}(int Value) {{ const int Factor = {i} + 3; return Value * Factor; }}
}};
Driver{i} TheDriver{i};
volatile unsigned Counter{i};
[[gnu::used]] int Entry{i}(int Value, Item{i} *pItem) {{
    for (int j = 0; j < {n}; ++j) {{ int Sum = TheDriver{i}.Run(j + Value); Counter{i} = Counter{i} + static_cast<unsigned>(Sum); }}
    for (; pItem != nullptr; pItem = pItem->pNext) {{ int Id = pItem->Id{i}; TheDriver{i}.Others.Add(static_cast<short>(Id)); }}
    return static_cast<int>(Counter{i});
}}
'''


def make(folder, version):
    objects, running = [], []
    for unit in range(UNITS):
        source = os.path.join(folder, 'unit%d.cpp' % unit)
        with open(source, 'w') as f:
            f.write('namespace { namespace unit%d {\n' % unit)
            for i in range(unit * GROUPS, (unit + 1) * GROUPS):
                f.write(GROUP.format(i=i, n=2 + i % 7))
            f.write('} }\n')
        target = source.replace('.cpp', '-%d.o' % version)
        running.append(subprocess.Popen(['arm-none-eabi-g++', *FLAGS, '-gdwarf-%d' % version, '-c', source, '-o', target]))
        objects.append(target)
        if len(running) == 2:
            assert all(p.wait() == 0 for p in running)
            running = []
    assert all(p.wait() == 0 for p in running)
    copies = [objects[-1]]
    for copy in range(COPIES):
        for obj in objects[:-1]:
            name = obj.replace('.o', '-copy%d.o' % copy)
            if not os.path.exists(name):
                os.link(obj, name)
            copies.append(name)
    for name, parts in (('medium', objects[:3]), ('large', copies)):
        elf = os.path.join(folder, '%s-%d.elf' % (name, version))
        subprocess.check_call(['arm-none-eabi-g++', '-nostdlib', '-mcpu=cortex-m4', '-mthumb', '-Wl,-e,0',
                               '-Wl,-Ttext=0x08000000', '-Wl,-Tdata=0x20000000', '-o', elf, *parts, '-lgcc'])
    return elf


if __name__ == '__main__':
    os.makedirs(sys.argv[1], exist_ok=True)
    for number in (4, 5):
        print(make(sys.argv[1], number))
