
  function isOpaque(rgba) {
    let all = 255;
    for (let i = 3; i < rgba.length; i += 4) all &= rgba[i];
    return all === 255;
  }

  // The same bytes as a canvas takes them.
  const clamped = (bytes) => new Uint8ClampedArray(bytes.buffer);

  // Pictures and files have names, by which the written calls refer to them.
  class Engine {
    #module;

    constructor(module) {
      this.#module = new module.Engine();
    }

    // What C++ throws arrives as a number; nothing else than lack of memory comes this far.
    #guarded(work) {
      try {
        return work(this.#module);
      } catch (error) {
        throw typeof error === "number" ? new RangeError("not enough memory") : error;
      }
    }

    // rgba: straight (not premultiplied) red, green, blue, alpha bytes, row by row. Without alpha the fourth of
    // them is not looked at.
    addPicture(name, rgba, width, height, alpha = !isOpaque(rgba)) {
      this.#guarded((module) => {
        module.room(rgba.length).set(rgba);
        module.addPicture(name, width, height, alpha);
      });
    }

    addFile(name, bytes) {
      this.#guarded((module) => {
        module.room(bytes.length).set(bytes);
        module.addFile(name);
      });
    }

    // Makes calls, as they are written for `qkz run`, on a copy of the named picture, until one fails.
    // Gives { steps, error, picture, string }: what each call printed, in lines; why the call after those failed,
    // or null; the current picture at the end, { width, height, alpha, rgba }; the last call's result when it is
    // a string, as bytes, or null.
    run(name, calls) {
      return this.#guarded((module) => {
        const answer = module.run(name, calls);
        const { width, height, alpha } = answer;
        return {
          steps: answer.printed.map((text) => ({ printed: text.split("\n").slice(0, -1) })),
          error: answer.error || null,
          picture: width ? { width, height, alpha, rgba: clamped(module.rgba().slice()) } : null,
          string: module.string()?.slice() ?? null,
        };
      });
    }

    // The current picture's own words of 32 bits after the last run.
    words() {
      return this.#guarded((module) => module.words().slice());
    }

    // Everything that is registered, as `qkz list` prints it.
    declarations() {
      return this.#module.declarations();
    }
  }

  return createPlayground().then((module) => new Engine(module));
}

if (typeof module === "object") module.exports = qkzPlayground;
