#include <metal_stdlib>
using namespace metal;
#define T u.time
#define P(x) (.5 + .5 * cos(6.28318 * (x + vec3(0., .1, .2))))
#define vec2 float2
#define vec3 float3
#define vec4 float4
#define mat2 float2x2
#define mix3(a,b,c,t) mix(mix(a,b,t),mix(b,c,t),t)
#define H(n) fract(sin(n)*43758.5453)
#define LOOP(n) for(int i=0;i<n;++i)
#define VAR(type, name, ...) type name = type(__VA_ARGS__)
#define GLUE(a, b) a##b
#define NAME(n) GLUE(layer, n)
typedef struct { float2 resolution; float time; } U;
float NAME(1)(vec2 p){return length(p)-.5;}
float NAME(2)(vec2 p){vec2 q=abs(p)-.3;return max(q.x,q.y);}
float hash(float n){return H(n);} float hash(vec2 p){return H(dot(p,vec2(127.1,311.7)));}
float noise(vec2 x){vec2 p=floor(x),f=fract(x);f=f*f*(3.-2.*f);return mix(mix(hash(p),hash(p+vec2(1,0)),f.x),mix(hash(p+vec2(0,1)),hash(p+vec2(1,1)),f.x),f.y);}
float fbm(vec2 p){float a=.5,s=0.;mat2 m=mat2(.8,.6,-.6,.8);LOOP(6){s+=a*noise(p);p=m*p*2.02;a*=.5;}return s;}
fragment vec4 f(vec4 c [[position]],constant U&u [[buffer(0)]]){
vec2 p=(c.xy*2.-u.resolution)/min(u.resolution.x,u.resolution.y),q=p,o;float l,z=T;vec3 k=0;
LOOP(3){z+=.07;l=length(q);o=c.xy/u.resolution+q/l*(sin(z)+1.)*abs(sin(l*9.-z-z));k[i]=.01/length(fract(o)-.5);}
VAR(vec3,col,fbm(p*3.+T),fbm(p*3.-T),fbm(p.yx));
for(float i=0.,e=1.;i++<8.;e*=.8){p=abs(p)/dot(p,p)-.7;col+=P(i*.1+length(p))*e*.05;}
int n=0;for(;n<64&&dot(q,q)<4.;n++)q=vec2(q.x*q.x-q.y*q.y,2.*q.x*q.y)+vec2(-.4,.6);
col=mix3(col,k/l,P(float(n)/64.),smoothstep(.0,.5,layer1(p)-layer2(p)));
return vec4(col*=(n&1)?1.:.8,1.);}
