// GLSL of the viewer's own materials. Stored colours, vertex colours and
// textures are display (sRGB) colours: lighting works on their linear
// values, and the result is encoded back to sRGB for the screen.
//
// Lighting, in view space: a headlight along the view direction, which
// alone shows a surface that faces the viewer in its stored colour, plus
// a hemisphere term, brighter from above than from below, so that no side
// is black. Both terms add up to 1 for a surface that faces the viewer.

const COLOR = /* glsl */ `
vec3 toLinear(vec3 c) { return mix(c / 12.92, pow((c + 0.055) / 1.055, vec3(2.4)), step(0.04045, c)); }
vec3 toSrgb(vec3 c) { c = clamp(c, 0.0, 1.0); return mix(c * 12.92, 1.055 * pow(c, vec3(1.0 / 2.4)) - 0.055, step(0.0031308, c)); }
`;

// Clip regions: up to CLIP_LOOPS loops, each a set of polygons in window
// coordinates (-1 to 1) that the page updates when the camera moves. A
// fragment is kept if it is inside (or, for a loop that cuts, outside)
// every loop, inside meaning inside an odd number of polygon edges.
export const CLIP_LOOPS = 4;
export const CLIP_POINTS = 120;
const CLIP = /* glsl */ `
#ifdef CLIP
uniform vec4 clipPoints[${CLIP_POINTS / 2}];
uniform ivec4 clipLoops[${CLIP_LOOPS}]; // first point, point count, cuts (1) or keeps (0), unused
uniform ivec4 clipRings[${CLIP_POINTS / 4}]; // per point: index of the next point of its polygon
uniform vec2 viewport;
vec2 clipPoint(int i) { vec4 p = clipPoints[i / 2]; return (i % 2 == 0) ? p.xy : p.zw; }
int clipNext(int i) { return clipRings[i / 4][i % 4]; }
void applyClip() {
  vec2 p = gl_FragCoord.xy / viewport * 2.0 - 1.0;
  for (int l = 0; l < ${CLIP_LOOPS}; l++) {
    ivec4 loop = clipLoops[l];
    if (loop.y == 0) continue;
    bool inside = false;
    for (int i = loop.x; i < loop.x + loop.y; i++) {
      vec2 a = clipPoint(i);
      vec2 b = clipPoint(clipNext(i));
      if ((a.y > p.y) != (b.y > p.y) && p.x < a.x + (p.y - a.y) / (b.y - a.y) * (b.x - a.x)) inside = !inside;
    }
    if (inside == (loop.z == 1)) discard;
  }
}
#else
void applyClip() {}
#endif
`;

const HEAD = /* glsl */ `
precision highp float;
precision highp int;
`;

export const FACE_VERTEX = HEAD + /* glsl */ `
in vec3 position;
in vec3 normal;
#ifdef UV
in vec2 uv;
uniform mat3 uvMatrix0;
uniform mat3 uvMatrix1;
out vec2 vUv0;
out vec2 vUv1;
#endif
#ifdef VERTEX_COLORS
in vec4 color;
out vec4 vColor;
#endif
uniform mat4 modelViewMatrix;
uniform mat4 projectionMatrix;
uniform mat3 normalMatrix;
out vec3 vNormal;
out vec3 vView;
void main() {
  vec4 p = modelViewMatrix * vec4(position, 1.0);
  vView = -p.xyz;
  vNormal = normalMatrix * normal;
#ifdef UV
  vUv0 = (uvMatrix0 * vec3(uv, 1.0)).xy;
  vUv1 = (uvMatrix1 * vec3(uv, 1.0)).xy;
#endif
#ifdef VERTEX_COLORS
  vColor = color;
#endif
  gl_Position = projectionMatrix * p;
}
`;

export const FACE_FRAGMENT = HEAD + COLOR + CLIP + /* glsl */ `
uniform vec4 color;
uniform float specular;
uniform float gloss;
uniform float mirror;
uniform mat4 viewMatrix;
in vec3 vNormal;
in vec3 vView;
#ifdef UV
in vec2 vUv0;
in vec2 vUv1;
#endif
#ifdef MAP0
uniform sampler2D map0;
#endif
#ifdef MAP1
uniform sampler2D map1;
uniform bool decal1;
#endif
#ifdef ENV_CUBE
uniform samplerCube envMap;
#endif
#ifdef ENV_MAP
uniform sampler2D envMap;
#endif
#ifdef VERTEX_COLORS
in vec4 vColor;
#endif
out vec4 fragColor;

vec3 environment(vec3 dir) {
#if defined(ENV_CUBE)
  return texture(envMap, dir * vec3(-1.0, 1.0, 1.0)).rgb;
#elif defined(ENV_MAP)
  vec2 st = vec2(atan(dir.y, dir.x) / 6.2831853 + 0.5, asin(clamp(dir.z, -1.0, 1.0)) / 3.1415927 + 0.5);
  return texture(envMap, st).rgb;
#else
  return vec3(0.0);
#endif
}

void main() {
  applyClip();
  vec4 base = vec4(toLinear(color.rgb), color.a);
#ifdef VERTEX_COLORS
  base *= vec4(toLinear(vColor.rgb), vColor.a);
#endif
#ifdef MAP0
  base *= texture(map0, vUv0); // sRGB textures, decoded by the sampler
#endif
#ifdef MAP1
  vec4 second = texture(map1, vUv1);
  base = decal1 ? vec4(mix(base.rgb, second.rgb, second.a), base.a) : base * second;
#endif
  vec3 n = normalize(vNormal);
  if (!gl_FrontFacing) n = -n;
  vec3 v = normalize(vView);
  float headlight = max(n.z, 0.0);
  float hemisphere = 1.0 + 0.3 * n.y;
  vec3 lit = base.rgb * (0.65 * headlight + 0.35 * hemisphere);
  if (specular > 0.0) lit += specular * pow(max(dot(n, normalize(v + vec3(0.0, 0.0, 1.0))), 0.0), gloss);
#if defined(ENV_CUBE) || defined(ENV_MAP)
  vec3 reflected = (vec4(reflect(-v, n), 0.0) * viewMatrix).xyz;
  lit = mix(lit, environment(reflected), mirror);
#endif
  fragColor = vec4(toSrgb(lit), base.a);
}
`;

// Lines and points: unlit, in the material's colour. Lines with a pattern
// get the distance along their element in pattern units, and the pattern
// as a row of on/off texels.
export const PLAIN_VERTEX = HEAD + /* glsl */ `
in vec3 position;
#ifdef VERTEX_COLORS
in vec4 color;
out vec4 vColor;
#endif
#ifdef PATTERN
in float lineDistance;
uniform float patternScale; // pixels per scene unit
uniform float patternUnit; // pixels per pattern unit
out float vDistance;
#endif
uniform mat4 modelViewMatrix;
uniform mat4 projectionMatrix;
uniform float pointSize;
void main() {
#ifdef VERTEX_COLORS
  vColor = color;
#endif
#ifdef PATTERN
  vDistance = lineDistance * patternScale / patternUnit;
#endif
  gl_PointSize = pointSize;
  gl_Position = projectionMatrix * modelViewMatrix * vec4(position, 1.0);
}
`;

export const PLAIN_FRAGMENT = HEAD + COLOR + CLIP + /* glsl */ `
uniform vec4 color;
#ifdef VERTEX_COLORS
in vec4 vColor;
#endif
#ifdef PATTERN
uniform sampler2D pattern;
uniform float patternLength;
in float vDistance;
#endif
out vec4 fragColor;
void main() {
  applyClip();
#ifdef PATTERN
  if (texture(pattern, vec2(mod(vDistance, patternLength) / patternLength, 0.5)).r < 0.5) discard;
#endif
  vec4 c = color;
#ifdef VERTEX_COLORS
  c *= vColor;
#endif
  fragColor = c;
}
`;
