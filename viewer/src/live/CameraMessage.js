// The viewer's camera as the server's `camera` message: the fields of the
// engine's stream camera, with the view plane's extent at the target.
export function cameraMessage(camera, target, screenWidth, screenHeight) {
  const position = camera.position.toArray();
  const aim = target.toArray();
  const distance = camera.position.distanceTo(target);
  const height = 2 * distance * Math.tan((camera.fov * Math.PI) / 360);
  return {
    type: 'camera',
    projection: 0,
    position,
    target: aim,
    up: camera.up.toArray(),
    width: height * camera.aspect,
    height,
    aspect: camera.aspect,
    screen_width: screenWidth,
    screen_height: screenHeight,
  };
}

// The camera messages that `send` gets come at most once per `gap` ms; the
// last call in a gap is sent when it ends, so the final view always goes out.
export function throttle(send, gap) {
  let last = -Infinity;
  let timer = null;
  let pending = null;
  const flush = () => {
    timer = null;
    last = performance.now();
    send(pending);
  };
  return (value) => {
    pending = value;
    if (timer !== null) return;
    const wait = last + gap - performance.now();
    if (wait <= 0) flush();
    else timer = setTimeout(flush, wait);
  };
}
