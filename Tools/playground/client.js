// The library in a worker, one for the page, and the pictures and files that calls may name.

const MOST_PIXELS = 40e6;

/// Adds a script of the folder to the page, once.
const scripts = new Map();
function loadScript(file) {
  if (!scripts.has(file)) {
    scripts.set(file, new Promise((resolve, reject) => {
      const script = document.createElement("script");
      script.src = file;
      script.onload = resolve;
      script.onerror = () => {
        scripts.delete(file);
        script.remove();
        reject(new Error(`${file} cannot be read`));
      };
      document.head.append(script);
    }));
  }
  return scripts.get(file);
}

/// Whether this browser can run the library: WebAssembly with vectors (the bytes are a module with one such
/// instruction), workers, and canvases in them.
function canRun() {
  const vectors = [0, 97, 115, 109, 1, 0, 0, 0, 1, 5, 1, 96, 0, 1, 123, 3, 2, 1, 0, 10, 10, 1, 8, 0, 65, 0, 253, 15, 253, 98, 11];
  try {
    return [Worker, OffscreenCanvas, createImageBitmap].every(Boolean) && WebAssembly.validate(new Uint8Array(vectors));
  } catch {
    return false;
  }
}

/// What runs in the worker. Pictures are decoded and drawn here, so that the page never waits.
function playgroundWorker(makeEngine, mostPixels) {
  const engine = makeEngine();

  function pixels(bitmap, limit) {
    const scale = Math.min(1, Math.sqrt(limit / (bitmap.width * bitmap.height)));
    const canvas = new OffscreenCanvas(Math.max(1, Math.floor(bitmap.width * scale)), Math.max(1, Math.floor(bitmap.height * scale)));
    const context = canvas.getContext("2d", { willReadFrequently: true });
    context.drawImage(bitmap, 0, 0, canvas.width, canvas.height);
    return context.getImageData(0, 0, canvas.width, canvas.height);
  }

  const tasks = {
    async picture(name, blob) {
      const bitmap = await createImageBitmap(blob, { imageOrientation: "from-image", colorSpaceConversion: "none" });
      const full = { width: bitmap.width, height: bitmap.height };
      let image;
      try {
        image = pixels(bitmap, mostPixels);
      } catch {
        image = pixels(bitmap, mostPixels / 4);  // some systems have smaller canvases
      }
      bitmap.close();
      const shown = await createImageBitmap(image);
      (await engine).addPicture(name, image.data, image.width, image.height);
      return [{ width: image.width, height: image.height, full, bitmap: shown }, [shown]];
    },
    async file(name, bytes) {
      (await engine).addFile(name, new Uint8Array(bytes));
      return [{}, []];
    },
    async run(name, calls) {
      const library = await engine;
      const start = performance.now();
      const { steps, error, picture, string } = library.run(name, calls);
      const milliseconds = performance.now() - start;
      if (!picture) throw new Error(error ?? "there is no picture");
      const { width, height, alpha, rgba } = picture;
      const bitmap = await createImageBitmap(new ImageData(rgba, width, height));
      return [{ steps, error, string, milliseconds, width, height, alpha, bitmap }, [bitmap]];
    },
  };

  self.onmessage = async ({ data: { id, method, arguments: given } }) => {
    try {
      const [result, moved] = await tasks[method](...given);
      self.postMessage({ id, result }, moved);
    } catch (error) {
      self.postMessage({ id, error: String(error?.message ?? error) });
    }
  };
}

/// The library. Every method gives a promise.
class Library {
  #worker = null;
  #waiting = new Map();  // id -> {resolve, reject, method}
  #next = 0;
  #sent = new Map();  // name -> promise of what the worker told of it
  #blobs = new Map();  // name -> Blob, or what it is made of
  #listeners = new Set();

  /// All names, those of the reader's own files last.
  get names() {
    return [...this.#blobs.keys()];
  }

  /// `listener` is called when a file has come.
  onFile(listener) {
    this.#listeners.add(listener);
    return () => this.#listeners.delete(listener);
  }

  /// Loads what the playground needs; what is missing is told by the error.
  async start() {
    await Promise.all(["forms.js", "playground-pictures.js", "playground.js"].map(loadScript));
    if (this.#blobs.size) return;
    for (const [name, value] of Object.entries(playgroundFiles)) {
      this.#blobs.set(name, typeof value === "string" ? blobOf(value) : value);
    }
  }

  /// Takes a file of the reader's; gives the name that it has from now on.
  add(file) {
    const plain = (file.name || "pasted.png").replace(/["\\/\n]/g, "_");
    let name = plain;
    for (let i = 2; this.#blobs.has(name); ++i) name = plain.replace(/(\.[^.]*)?$/, `-${i}$1`);
    this.#blobs.set(name, file);
    this.#listeners.forEach((listener) => listener());
    return name;
  }

  /// Forgets a file that was no picture.
  drop(name) {
    this.#blobs.delete(name);
    this.#sent.delete(name);
    this.#listeners.forEach((listener) => listener());
  }

  /// {width, height, full, bitmap}; the bitmap is given once and stays here.
  picture(name) {
    return this.#send(name, () => this.#call("picture", name, this.#blobs.get(name)));
  }

  async run(source, steps) {
    const calls = steps.map(callText);
    await this.picture(source);
    for (const step of steps) {
      const { parameters } = overloadOf(step);
      for (const [i, { type }] of parameters.entries()) {
        const name = fileOf(step.values[i]);
        if (name) await (type === "picture" ? this.picture(name) : this.#file(name));
      }
    }
    return this.#call("run", source, calls);
  }

  #file(name) {
    return this.#send(`file ${name}`, async () => {
      const value = this.#blobs.get(name);
      if (!value) throw new Error(`there is no file ${name}`);
      if (value instanceof Blob) return this.#call("file", name, await value.arrayBuffer());
      await this.picture(value.of);
      const { string } = await this.#call("run", value.of, [value.call]);
      return this.#call("file", name, string.buffer.slice(string.byteOffset, string.byteOffset + string.length));
    });
  }

  #send(key, send) {
    if (!this.#sent.has(key)) {
      const sent = send();
      this.#sent.set(key, sent);
      sent.catch(() => this.#sent.delete(key));
    }
    return this.#sent.get(key);
  }

  #call(method, ...given) {
    this.#worker ??= this.#begin();
    const id = ++this.#next;
    return new Promise((resolve, reject) => {
      this.#waiting.set(id, { resolve, reject, method });
      this.#worker.postMessage({ id, method, arguments: given }, given.filter((value) => value instanceof ArrayBuffer));
    });
  }

  #begin() {
    const text = `(${playgroundWorker})(${qkzPlayground}, ${MOST_PIXELS});`;
    const address = URL.createObjectURL(new Blob([text], { type: "text/javascript" }));
    const worker = new Worker(address);
    worker.onmessage = ({ data: { id, result, error } }) => {
      const { resolve, reject, method } = this.#waiting.get(id);
      this.#waiting.delete(id);
      if (error === undefined) return resolve(result);
      // A call that failed so may have left the library in any state; the next one begins with a new worker.
      if (method === "run") this.#end(worker, error);
      reject(new Error(error));
    };
    worker.onerror = (event) => this.#end(worker, event.message || "the worker has ended");
    return worker;
  }

  #end(worker, error) {
    worker.terminate();
    this.#worker = null;
    this.#sent.clear();
    for (const { reject } of this.#waiting.values()) reject(new Error(error));
    this.#waiting.clear();
  }
}

function blobOf(address) {
  const [, kind, text] = /^data:([^;]*);base64,(.*)$/.exec(address);
  return new Blob([Uint8Array.from(atob(text), (c) => c.charCodeAt(0))], { type: kind });
}
