// The library in a worker, one for the page, and the pictures and files that calls may name.

const MOST_PIXELS = 40e6;
// Larger ones are shown smaller: drawing them would hold the page up.
const SHOWN_PIXELS = 3e6;
const FULL = /not enough memory|out of memory|OutOfMemory/i;

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
function playgroundWorker(makeEngine, mostPixels, shownPixels) {
  const engine = makeEngine();

  /// Width and height, made smaller to hold no more than a number of pixels.
  function within({ width, height }, pixels) {
    const scale = Math.min(1, Math.sqrt(pixels / (width * height)));
    return [width, height].map((side) => Math.max(1, Math.floor(side * scale)));
  }

  function pixels(bitmap, limit) {
    const canvas = new OffscreenCanvas(...within(bitmap, limit));
    const context = canvas.getContext("2d", { willReadFrequently: true });
    context.drawImage(bitmap, 0, 0, canvas.width, canvas.height);
    return context.getImageData(0, 0, canvas.width, canvas.height);
  }

  function shown(image) {
    const [resizeWidth, resizeHeight] = within(image, shownPixels);
    return createImageBitmap(image, resizeWidth < image.width ? { resizeWidth, resizeHeight, resizeQuality: "medium" } : {});
  }

  async function imageOf(name, calls) {
    const { steps, error, picture, string } = (await engine).run(name, calls);
    if (!picture) throw new Error(error ?? "there is no picture");
    return { steps, error, string, image: new ImageData(picture.rgba, picture.width, picture.height) };
  }

  const tasks = {
    async picture(name, blob) {
      const bitmap = await createImageBitmap(blob, { imageOrientation: "from-image" }).catch(() => {
        throw new Error(`${name} cannot be read as a picture`);
      });
      const full = { width: bitmap.width, height: bitmap.height };
      let image;
      try {
        image = pixels(bitmap, mostPixels);
      } catch {
        image = pixels(bitmap, mostPixels / 4);  // some systems have smaller canvases
      }
      bitmap.close();
      const small = await shown(image);
      (await engine).addPicture(name, image.data, image.width, image.height);
      return [{ width: image.width, height: image.height, full, bitmap: small }, [small]];
    },
    async file(name, bytes) {
      (await engine).addFile(name, new Uint8Array(bytes));
      return [{}, []];
    },
    async run(name, calls) {
      await engine;
      const start = performance.now();
      const { steps, error, string, image } = await imageOf(name, calls);
      const milliseconds = performance.now() - start;
      const bitmap = await shown(image);
      return [{ steps, error, string, milliseconds, width: image.width, height: image.height, bitmap }, [bitmap]];
    },
    async png(name, calls) {
      const { image } = await imageOf(name, calls);
      const canvas = new OffscreenCanvas(image.width, image.height);
      canvas.getContext("2d").putImageData(image, 0, 0);
      return [await canvas.convertToBlob({ type: "image/png" }), []];
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

  /// {width, height, full, bitmap}: its size, that of the file, and what is shown of it.
  picture(name) {
    return this.#withRoom(() => this.#picture(name));
  }

  run(source, steps) {
    return this.#withRoom(() => this.#run("run", source, steps));
  }

  /// The picture after the steps, as a file.
  png(source, steps) {
    return this.#withRoom(() => this.#run("png", source, steps));
  }

  /// Does the work again with a new worker when memory is full, of pictures that it may not need.
  async #withRoom(work) {
    try {
      const result = await work();
      if (!FULL.test(result.error)) return result;
      this.#end(this.#worker, result.error);
    } catch (error) {
      if (!FULL.test(error.message)) throw error;
    }
    return work();
  }

  #picture(name) {
    return this.#send(name, () => this.#call("picture", name, this.#blobs.get(name)));
  }

  async #run(method, source, steps) {
    const calls = steps.map(callText);
    await this.#picture(source);
    for (const step of steps) {
      const { parameters } = overloadOf(step);
      for (const [i, { type }] of parameters.entries()) {
        const name = fileOf(step.values[i]);
        if (name) await (type === "picture" ? this.#picture(name) : this.#file(name));
      }
    }
    return this.#call(method, source, calls);
  }

  #file(name) {
    return this.#send(`file ${name}`, async () => {
      const value = this.#blobs.get(name);
      if (!value) throw new Error(`there is no file ${name}`);
      if (value instanceof Blob) return this.#call("file", name, await value.arrayBuffer());
      await this.#picture(value.of);
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
    const text = `(${playgroundWorker})(${qkzPlayground}, ${MOST_PIXELS}, ${SHOWN_PIXELS});`;
    const address = URL.createObjectURL(new Blob([text], { type: "text/javascript" }));
    const worker = new Worker(address);
    worker.onmessage = ({ data: { id, result, error } }) => {
      const { resolve, reject, method } = this.#waiting.get(id);
      this.#waiting.delete(id);
      if (error === undefined) return resolve(result);
      // A call that failed so may have left the library in any state; the next one begins with a new worker. A file
      // that is no picture has not reached it.
      if (method !== "picture" || FULL.test(error)) this.#end(worker, error);
      reject(new Error(error));
    };
    worker.onerror = (event) => this.#end(worker, event.message || "the worker has ended");
    return worker;
  }

  #end(worker, error) {
    if (!worker || worker !== this.#worker) return;  // another panel was first
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
