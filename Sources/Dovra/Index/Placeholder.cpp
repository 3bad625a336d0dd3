namespace dovra {}
