// Prints the faces of a photograph, over the C interface: find_faces_rs PHOTO.ppm (a PPM of 8 bits)
use std::ffi::{c_void, CStr};
use std::os::raw::c_char;
use std::{env, fs, mem, process, ptr, str};

#[repr(C)]
struct Image { size: usize, pixels: *const u8, width: i32, height: i32, row_bytes: isize, format: i32, orientation: i32 }
#[repr(C)]
struct Face { size: usize, rect: [f32; 4], score: f32, turn: i32, point_count: i32, points: [f32; 136], details: [f32; 7] }

#[link(name = "oznakit")]
extern "C" {
    fn oznakit_last_message() -> *const c_char;
    fn oznakit_finder_open(options: *const c_void, finder: *mut *mut c_void) -> i32;
    fn oznakit_finder_find(finder: *mut c_void, image: *const Image, options: *const c_void, faces: *mut *mut c_void) -> i32;
    fn oznakit_faces_count(faces: *const c_void) -> i32;
    fn oznakit_faces_get(faces: *const c_void, index: i32, face: *mut Face) -> i32;
    fn oznakit_faces_free(faces: *mut c_void);
    fn oznakit_finder_close(finder: *mut c_void);
}

fn check(status: i32) {
    if status != 0 {
        eprintln!("{}", unsafe { CStr::from_ptr(oznakit_last_message()) }.to_string_lossy());
        process::exit(1);
    }
}

fn main() {
    let file = fs::read(env::args().nth(1).expect("find_faces_rs PHOTO.ppm")).expect("no such file");
    let head = str::from_utf8(&file[..32.min(file.len())].split(|&b| b > 127).next().unwrap()).unwrap();
    let sides: Vec<i32> = head.split_whitespace().skip(1).take(2).map(|word| word.parse().unwrap()).collect();
    let pixels = &file[file.len() - 3 * sides[0] as usize * sides[1] as usize..];
    let image = Image { size: mem::size_of::<Image>(), pixels: pixels.as_ptr(), width: sides[0], height: sides[1],
                        row_bytes: 0, format: 0, orientation: 1 };
    let (mut finder, mut faces) = (ptr::null_mut(), ptr::null_mut());
    unsafe {
        check(oznakit_finder_open(ptr::null(), &mut finder));
        check(oznakit_finder_find(finder, &image, ptr::null(), &mut faces));
        for i in 0..oznakit_faces_count(faces) {
            let mut face = Face { size: mem::size_of::<Face>(), ..mem::zeroed() };
            check(oznakit_faces_get(faces, i, &mut face));
            println!("{:?}  score {}", face.rect, face.score);
        }
        oznakit_faces_free(faces);
        oznakit_finder_close(finder);
    }
}
