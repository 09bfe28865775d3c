// @param zoom 1.2 0.5 8
// @still 0.5
float2 cmul(float2 a, float2 b) { return float2(a.x*b.x - a.y*b.y, a.x*b.y + a.y*b.x); }
struct C { float2 v; C operator*(C o) const { return C{cmul(v, o.v)}; } };
C operator+(C a, C b) { return C{a.v + b.v}; }
float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {
  float2 c = (uv - float2(.7, .5)) * float2(u.resolution.x / u.resolution.y, 1.) * 3. / p.zoom;
  C z{float2(0)}; C cc{c};
  float n = 0;
  for (int i = 0; i < 120; i++) { z = z * z + cc; if (dot(z.v, z.v) > 256.) break; n++; }
  if (n > 119.5) return float4(0, 0, 0, 1);
  float sn = n - log2(log2(dot(z.v, z.v))) + 4.0;
  float4 col = 0.5 + 0.5 * cos(3.0 + sn * 0.15 + float4(0.0, 0.6, 1.0, 0));
  auto k = col.rgb * col.rgb;
  uint bits = as_type<uint>(sn);
  if ((bits & 1u) == 2u) k = float3(1);
  float3x3 m = float3x3(float3(1,0,0), float3(0,1,0), float3(0,0,1));
  m[1][1] = 0.9; m[2] *= 0.95;
  return float4(m * k, 1);
}
