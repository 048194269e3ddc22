// The library and its host, in WebAssembly. One function, so that its text can
// become a worker of a page that was opened from disk.
function qkzPlayground() {
