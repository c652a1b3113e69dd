// Rust without a library, for tst_dwarf_producers. shapes.elf is made of it, since few machines have the compiler:
// RUSTC_BOOTSTRAP=1 rustc -A warnings --edition 2021 --target thumbv7m-none-eabi -C panic=abort -g -Z dwarf-version=5
//     --remap-path-prefix=$PWD=/src --crate-name shop --emit=obj shapes.rs
// ld.lld --nmagic -e main -Ttext=0x8000 -Tdata=0x20000000 --gc-sections shapes.o -o shapes.elf
#![feature(auto_traits, no_core, lang_items, intrinsics, rustc_attrs, decl_macro)]
#![no_core]
#![no_std]
#![no_main]
#![allow(internal_features, dead_code)]

#[lang = "pointee_sized"]
pub trait PointeeSized {}
#[lang = "meta_sized"]
pub trait MetaSized: PointeeSized {}
#[lang = "sized"]
pub trait Sized: MetaSized {}
#[lang = "copy"]
pub trait Copy {}
impl Copy for u32 {}
impl Copy for i32 {}
impl Copy for u8 {}
impl Copy for bool {}
#[lang = "freeze"]
unsafe auto trait Freeze {}
#[lang = "sync"]
pub unsafe trait Sync {}
unsafe impl Sync for &str {}
#[lang = "drop_in_place"]
unsafe fn drop_in_place<T: PointeeSized>(_: *mut T) {}
#[lang = "legacy_receiver"]
pub trait LegacyReceiver {}
impl<T: PointeeSized> LegacyReceiver for &T {}
impl<T: PointeeSized> LegacyReceiver for &mut T {}

pub mod shapes {
    use super::*;
    pub struct Point<T> {
        pub x: T,
        pub y: T,
    }
    pub enum Kind {
        Empty,
        Circle(u32),
        Line { from: u8, to: u32 },
    }
    #[repr(u8)]
    pub enum Color {
        Red = 1,
        Green = 4,
    }
    pub trait Area {
        fn area(&self) -> u32;
    }
    impl Area for Point<u32> {
        #[inline(never)]
        fn area(&self) -> u32 {
            let (a, b) = (self.x, self.y);
            unsafe { super::LAST = a; }
            b
        }
    }
    #[inline(never)]
    pub fn first<T: Copy>(p: &Point<T>) -> T {
        let value = p.x;
        value
    }
    #[inline(never)]
    pub fn pick(k: &Kind) -> u32 {
        match k {
            Kind::Empty => 0,
            Kind::Circle(r) => *r,
            Kind::Line { from: _, to } => *to,
        }
    }
}
use shapes::*;

#[no_mangle]
pub static mut LAST: u32 = 5;
pub static mut ORIGIN: Point<i32> = Point { x: 3, y: 4 };
pub static mut COLOR: Color = Color::Green;
pub static mut TABLE: [u8; 4] = [1, 2, 3, 4];
pub static mut FLAG: bool = true;
pub static NAME: &str = "brask";
pub static mut KIND: Kind = Kind::Circle(7);

#[no_mangle]
pub unsafe extern "C" fn main() -> u32 {
    let p = Point { x: 7u32, y: 9u32 };
    let small = Point { x: 1u8, y: 2u8 };
    let _b = first(&small);
    LAST = pick(&KIND);
    LAST = first(&p);
    p.area()
}
